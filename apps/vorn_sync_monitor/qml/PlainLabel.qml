import QtQuick 2.15
import QtQuick.Controls 2.15

// A line of text that is never taken for markup and shows the whole of it in a tool tip when it does not fit.
Label {
    id: label

    textFormat: Text.PlainText
    maximumLineCount: 1
    elide: Text.ElideRight
    horizontalAlignment: Text.AlignLeft
    Accessible.ignored: true // what it says is part of its row's name

    HoverHandler {
        id: hover
        enabled: label.truncated
    }
    Loader {
        active: hover.hovered && label.truncated
        sourceComponent: Hint {
            parent: label
            text: label.text
            visible: true
        }
    }
}
