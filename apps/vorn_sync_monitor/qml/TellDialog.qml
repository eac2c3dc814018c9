import QtQuick 2.15
import QtQuick.Controls 2.15

// Says what went wrong.
PlainDialog {
    id: dialog
    objectName: "tellDialog"

    property string message

    function tell(title, message) {
        dialog.title = title
        dialog.message = message
        open()
        closeButton.forceActiveFocus()
    }

    contentItem: PlainText {
        objectName: "message"
        text: dialog.message
        color: Theme.bad
    }
    footer: PlainButtonBox {
        ActionButton {
            id: closeButton
            objectName: "closeButton"
            text: qsTrId("vorn_sync_monitor_close")
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
    }
}
