import QtQuick 2.15
import QtQuick.Controls 2.15

// A tool tip whose text, a file name say, is never taken for markup.
ToolTip {
    id: hint

    delay: 500

    contentItem: Text {
        objectName: "hintText"
        text: hint.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.text
        font: hint.font
        width: Math.min(implicitWidth, 420)
    }
    background: Rectangle {
        color: Theme.raised
        border.color: Theme.line
        radius: 3
    }
}
