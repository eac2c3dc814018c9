import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

ListRow {
    id: row

    required property string text
    required property string time
    required property bool isProblem

    objectName: "logRow"
    height: line.implicitHeight + Theme.gap
    accessibleName: isProblem ? qsTrId("vorn_sync_monitor_problem").arg(text) : text

    RowLayout {
        id: line
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter }
        anchors { leftMargin: Theme.margin; rightMargin: Theme.margin }
        spacing: Theme.margin

        PlainLabel {
            text: row.time
            color: Theme.faint
        }
        PlainLabel {
            Layout.fillWidth: true
            text: row.text
            color: row.isProblem ? Theme.bad : Theme.text
        }
    }
}
