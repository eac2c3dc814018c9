import QtQuick 2.15
import QtQuick.Controls 2.15

// A button that the keyboard reaches and a screen reader can name.
Button {
    id: button

    property string accessibleName: text.replace("&", "")
    property string hintText: ""

    focusPolicy: Qt.StrongFocus
    padding: 6
    leftPadding: 12
    rightPadding: 12
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.description: hintText
    Accessible.onPressAction: button.clicked()
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()

    background: Rectangle {
        implicitWidth: 72
        implicitHeight: 30
        radius: Theme.radius
        color: button.down ? Theme.line : button.hovered ? Theme.hovered : Theme.raised
        border.color: button.activeFocus ? Theme.accent : Theme.line
        border.width: button.activeFocus ? 2 : 1
        opacity: button.enabled ? 1 : 0.5
    }

    Loader {
        active: button.hovered && button.hintText !== ""
        sourceComponent: Hint {
            parent: button
            text: button.hintText
            visible: true
        }
    }
}
