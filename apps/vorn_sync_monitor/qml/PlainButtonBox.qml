import QtQuick 2.15
import QtQuick.Controls 2.15

// The buttons below a dialog.
DialogButtonBox {
    padding: 18
    topPadding: 0
    background: Item {}
}
