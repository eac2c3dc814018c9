import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// Takes a new pair. It stays open until the pair is accepted.
PlainDialog {
    id: dialog
    objectName: "pairDialog"

    property string problem

    function start() {
        nameField.isOwn = false
        localField.text = ""
        distantField.text = ""
        nameField.text = ""
        problem = ""
        open()
        localField.focusInput()
    }
    function add() {
        problem = host.pairEditor.add(nameField.text, localField.text, distantField.text)
        if (problem === "")
            accept()
    }

    title: qsTrId("vorn_sync_monitor_new_pair")
    preferredWidth: 560

    // The problem stands below the layout, not in it: its height follows from its width, and the dialog's from that.
    contentItem: Item {
        implicitHeight: fields.implicitHeight + (problemText.visible ? problemText.height + Theme.gap : 0)

        ColumnLayout {
            id: fields
            anchors { left: parent.left; right: parent.right; top: parent.top }
            spacing: Theme.gap

            DirectoryField {
                id: localField
                Layout.fillWidth: true
                name: "local"
                title: qsTrId("vorn_sync_monitor_local_directory")
                onAccepted: dialog.add()
                onEdited: if (!nameField.isOwn) nameField.text = host.pairEditor.suggestedAlias(text)
            }
            DirectoryField {
                id: distantField
                Layout.fillWidth: true
                name: "distant"
                title: qsTrId("vorn_sync_monitor_distant_directory")
                onAccepted: dialog.add()
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                PlainLabel {
                    Layout.fillWidth: true
                    text: nameField.accessibleName
                    color: Theme.faint
                }
                PlainField {
                    id: nameField
                    Layout.fillWidth: true
                    objectName: "nameField"
                    accessibleName: qsTrId("vorn_sync_monitor_pair_name")
                    onAccepted: dialog.add()
                    onTextEdited: isOwn = text !== ""

                    property bool isOwn: false // typed: it does not follow the local directory any more
                }
            }
        }
        PlainLabel {
            id: problemText
            objectName: "pairProblem"
            anchors { left: parent.left; right: parent.right; top: fields.bottom; topMargin: Theme.gap }
            visible: text !== ""
            text: dialog.problem
            color: Theme.bad
            wrapMode: Text.Wrap
            maximumLineCount: 3
            Accessible.ignored: false
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
    }
    footer: PlainButtonBox {
        ActionButton {
            objectName: "addButton"
            text: qsTrId("vorn_sync_monitor_add")
            DialogButtonBox.buttonRole: DialogButtonBox.ActionRole
            onClicked: dialog.add()
        }
        ActionButton {
            objectName: "cancelButton"
            text: qsTrId("vorn_sync_monitor_cancel")
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
    }
}
