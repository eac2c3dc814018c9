import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A number and what it counts.
Card {
    id: counter

    property string title
    property int value: 0
    property color colour: Theme.text
    property bool isCompact: false // where there is little height

    implicitHeight: isCompact ? number.implicitHeight + Theme.gap
                              : number.implicitHeight + caption.implicitHeight + 2 * Theme.gap
    implicitWidth: 120
    Accessible.role: Accessible.StaticText
    Accessible.name: qsTrId("vorn_sync_monitor_counter").arg(title).arg(value)

    GridLayout {
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter }
        anchors.margins: Theme.margin
        columns: counter.isCompact ? 2 : 1
        columnSpacing: Theme.gap
        rowSpacing: 0

        PlainLabel {
            id: number
            Layout.fillWidth: !counter.isCompact
            objectName: "value"
            text: Number(counter.value).toLocaleString(Qt.locale(), "f", 0)
            color: counter.colour
            font { pixelSize: counter.isCompact ? 16 : 24; bold: true }
        }
        PlainLabel {
            id: caption
            Layout.fillWidth: true
            text: counter.title
            color: Theme.faint
        }
    }
}
