import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A directory, to be typed or to be chosen in the desktop's dialog.
ColumnLayout {
    id: field

    property string title
    property string name // of the objects in it
    property alias text: input.text

    signal accepted()
    signal edited()

    function focusInput() {
        input.forceActiveFocus()
    }

    spacing: 2

    PlainLabel {
        Layout.fillWidth: true
        text: field.title
        color: Theme.faint
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.gap

        PlainField {
            id: input
            Layout.fillWidth: true
            objectName: field.name + "Field"
            accessibleName: field.title
            onAccepted: field.accepted()
            onTextChanged: field.edited()
        }
        ActionButton {
            objectName: field.name + "ChooseButton"
            text: qsTrId("vorn_sync_monitor_choose_directory")
            accessibleName: qsTrId("vorn_sync_monitor_choose_name").arg(field.title)
            onClicked: host.pairEditor.chooseDirectory(field.name, field.title, input.text)
        }
    }
    Connections {
        target: host.pairEditor
        function onDirectoryChosen(field, path) {
            if (field !== name)
                return
            input.text = path
            input.forceActiveFocus()
        }
    }
}
