import QtQuick 2.15
import QtQuick.Controls 2.15

TabButton {
    id: tab

    width: implicitWidth
    leftPadding: Theme.margin
    rightPadding: Theme.margin
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.PageTab
    Accessible.name: text.replace("&", "")
    Accessible.onPressAction: tab.toggle()
    Keys.onReturnPressed: tab.toggle()
    Keys.onEnterPressed: tab.toggle()
}
