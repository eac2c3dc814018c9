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
    padding: 18
    title: yes
    width: Math.min(420, parent ? parent.width - 2 * Theme.margin : 420)

    background: Card {
        color: Theme.base
    }
    Overlay.modal: Rectangle {
        color: Theme.shade
    }
    header: PlainLabel {
        text: dialog.title
        padding: 18
        bottomPadding: 0
        font { pixelSize: 17; bold: true }
    }
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
        padding: 18
        topPadding: 0
        background: Item {}

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
