import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// One of the last operations.
ListRow {
    id: row

    required property var modelData
    readonly property string fileName: host.printable(modelData.fileName)
    readonly property string time: modelData.timestamp.substring(11, 19)
    readonly property string outcome: modelData.succeeded ? qsTrId("vorn_sync_monitor_event_done")
                                                          : qsTrId("vorn_sync_monitor_event_failed")

    objectName: "eventRow"
    height: line.implicitHeight + Theme.gap
    accessibleName: qsTrId("vorn_sync_monitor_event_label").arg(time).arg(fileName).arg(outcome)

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
            text: row.fileName
            elide: Text.ElideMiddle
        }
        PlainLabel {
            text: row.outcome
            color: row.modelData.succeeded ? Theme.good : Theme.bad
        }
    }
}
