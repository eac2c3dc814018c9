import QtQuick 2.15
import QtQuick.Controls 2.15

// Tabs that take the room they need; the line under them is the page's.
TabBar {
    property string accessibleName

    spacing: 2
    focusPolicy: Qt.NoFocus // its tabs have it
    Accessible.role: Accessible.PageTabList
    Accessible.name: accessibleName
    background: Item {
        Rectangle {
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
            height: 1
            color: Theme.line
        }
    }
}
