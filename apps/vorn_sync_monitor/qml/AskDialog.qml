import QtQuick 2.15
import QtQuick.Controls 2.15

// Asks before an answer is given for all files of a group.
Dialog {
    id: dialog
    objectName: "askDialog"

    property string question
    property string yes

    function ask(group, answer) {
        question = group.question(answer.answer, host.errors.ask(group, answer.answer))
        yes = answer.label
        open()
        noButton.forceActiveFocus()
    }

    parent: Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    title: qsTrId("vorn_sync_monitor_ask_title")
    width: Math.min(420, parent ? parent.width - 2 * Theme.margin : 420)

    contentItem: Label {
        objectName: "question"
        text: dialog.question
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignLeft
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    footer: DialogButtonBox {
        ActionButton {
            objectName: "yesButton"
            text: dialog.yes
            DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
        }
        ActionButton {
            id: noButton
            objectName: "noButton"
            text: qsTrId("vorn_sync_monitor_cancel")
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
    }
    onAccepted: host.errors.confirm()
}
