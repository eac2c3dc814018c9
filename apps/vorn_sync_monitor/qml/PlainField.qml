import QtQuick 2.15
import QtQuick.Controls 2.15

// A line to type into that a screen reader can name.
TextField {
    id: field

    property string accessibleName

    selectByMouse: true
    color: Theme.text
    selectionColor: Theme.accent
    selectedTextColor: Theme.accentText
    placeholderTextColor: Theme.faint
    leftPadding: 8
    rightPadding: 8
    Accessible.role: Accessible.EditableText
    Accessible.name: accessibleName

    background: Rectangle {
        implicitWidth: 200
        implicitHeight: 30
        radius: Theme.radius
        color: Theme.raised
        border.color: field.activeFocus ? Theme.accent : Theme.line
        border.width: field.activeFocus ? 2 : 1
    }
}
