import QtQuick 2.15
import QtQuick.Controls 2.15

TabBar {
    property string accessibleName

    focusPolicy: Qt.NoFocus // its tabs have it
    Accessible.role: Accessible.PageTabList
    Accessible.name: accessibleName
    background: Rectangle {
        color: "transparent"
    }
}
