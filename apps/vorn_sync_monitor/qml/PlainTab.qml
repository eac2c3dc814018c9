import QtQuick 2.15
import QtQuick.Controls 2.15

// A tab that the keyboard reaches and a screen reader can name.
TabButton {
    id: tab

    width: implicitWidth
    padding: 7
    leftPadding: Theme.margin
    rightPadding: Theme.margin
    focusPolicy: Qt.StrongFocus
    palette.buttonText: checked ? Theme.accent : Theme.text
    palette.windowText: checked ? Theme.accent : Theme.text
    Accessible.role: Accessible.PageTab
    Accessible.name: text.replace("&", "")
    Accessible.onPressAction: tab.clicked()
    Keys.onReturnPressed: tab.clicked()
    Keys.onEnterPressed: tab.clicked()
    onClicked: checked = true // its mnemonic only clicks it

    background: Rectangle {
        implicitHeight: 32
        radius: Theme.radius
        color: tab.hovered && !tab.checked ? Theme.hovered : "transparent"
        border.color: Theme.accent
        border.width: tab.activeFocus ? 2 : 0

        Rectangle {
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
            height: 3
            radius: 1
            color: Theme.accent
            visible: tab.checked
        }
    }
}
