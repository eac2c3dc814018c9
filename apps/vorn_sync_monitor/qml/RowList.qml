import QtQuick 2.15
import QtQuick.Controls 2.15

// A list for the keyboard, too: the arrow keys choose a row, Tab goes on to the buttons of that row.
ListView {
    id: list

    property string title
    property string emptyText

    clip: true
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    currentIndex: 0
    highlightMoveDuration: 0
    reuseItems: true
    Accessible.role: Accessible.List
    Accessible.name: title

    function turn(pages) {
        const rows = Math.max(1, Math.floor(height / Math.max(1, contentHeight / Math.max(1, count))) - 1)
        currentIndex = Math.max(0, Math.min(count - 1, currentIndex + pages * rows))
    }
    Keys.onPressed: function(event) {
        switch (event.key) {
        case Qt.Key_PageDown: turn(1); break
        case Qt.Key_PageUp: turn(-1); break
        case Qt.Key_Home: currentIndex = 0; break
        case Qt.Key_End: currentIndex = count - 1; break
        default: return
        }
        event.accepted = true
    }

    ScrollBar.vertical: ScrollBar {
        policy: list.contentHeight > list.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        Accessible.ignored: true
    }

    Rectangle { // the focus, seen also when the list is empty
        anchors.fill: parent
        color: "transparent"
        border { color: Theme.accent; width: 2 }
        radius: Theme.radius
        visible: list.activeFocus
        z: 2
    }
    PlainLabel {
        objectName: "emptyText"
        anchors.centerIn: parent
        width: Math.min(implicitWidth, parent.width - 2 * Theme.margin)
        visible: list.count === 0
        text: list.emptyText
        color: Theme.faint
        Accessible.ignored: !visible
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
