import QtQuick 2.15

// A row of a RowList.
Rectangle {
    id: row

    required property int index
    readonly property bool isCurrent: ListView.isCurrentItem
    property string accessibleName

    width: ListView.view ? ListView.view.width : 0
    color: isCurrent && ListView.view.activeFocus ? Qt.rgba(Theme.accent.r, Theme.accent.g, Theme.accent.b, 0.16)
                                                  : "transparent"
    Accessible.role: Accessible.ListItem
    Accessible.name: accessibleName
    Accessible.selected: isCurrent
    Accessible.selectable: true

    // One that waits to be used again is no row, for a screen reader neither.
    ListView.onPooled: visible = false
    ListView.onReused: visible = true

    function choose() {
        ListView.view.currentIndex = index
        ListView.view.forceActiveFocus()
    }

    TapHandler {
        onTapped: row.choose()
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Theme.line
        opacity: 0.5
    }
}
