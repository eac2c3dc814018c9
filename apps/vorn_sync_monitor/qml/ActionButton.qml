import QtQuick 2.15
import QtQuick.Controls 2.15

// A button that the keyboard reaches and a screen reader can name.
Button {
    id: button

    property string accessibleName: text.replace("&", "")
    property string hintText: ""

    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.description: hintText
    Accessible.onPressAction: button.clicked()
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()

    Loader {
        active: button.hovered && button.hintText !== ""
        sourceComponent: Hint {
            parent: button
            text: button.hintText
            visible: true
        }
    }
}
