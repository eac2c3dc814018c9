import QtQuick 2.15
import QtQuick.Controls 2.15

// A dialog inside the window, with its title above and its buttons below.
Dialog {
    id: dialog

    property int preferredWidth: 420

    parent: Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape // a click beside it would throw away what was typed
    padding: 18
    topPadding: 12
    width: Math.min(preferredWidth, parent ? parent.width - 2 * Theme.margin : preferredWidth)

    background: Card {
        color: Theme.base
    }
    Overlay.modal: Rectangle {
        color: Theme.shade
    }
    header: PlainLabel {
        text: dialog.title
        padding: 18
        bottomPadding: 0
        font { pixelSize: 17; bold: true }
        Accessible.ignored: false
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
