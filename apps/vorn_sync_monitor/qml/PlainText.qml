import QtQuick 2.15
import QtQuick.Controls 2.15

// Some lines of text that are never taken for markup.
Label {
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    horizontalAlignment: Text.AlignLeft
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
