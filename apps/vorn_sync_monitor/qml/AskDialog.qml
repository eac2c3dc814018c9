import QtQuick 2.15
import QtQuick.Controls 2.15

// Asks before something is done that is not done lightly.
PlainDialog {
    id: dialog
    objectName: "askDialog"

    property string question

    function ask(question, yes) {
        dialog.question = question
        title = yes
        open()
        noButton.forceActiveFocus()
    }

    contentItem: PlainText {
        objectName: "question"
        text: dialog.question
    }
    footer: PlainButtonBox {
        ActionButton {
            objectName: "yesButton"
            text: dialog.title
            DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
        }
        ActionButton {
            id: noButton
            objectName: "noButton"
            text: qsTrId("vorn_sync_monitor_cancel")
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
    }
}
