import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// The pairs, and the last operations.
ColumnLayout {
    spacing: Theme.gap

    PlainLabel {
        text: qsTrId("vorn_sync_monitor_pairs")
        font.bold: true
    }
    Card {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 56

        RowList {
            objectName: "pairList"
            anchors { fill: parent; margins: 1 }
            model: host.pairs
            title: qsTrId("vorn_sync_monitor_pairs")
            emptyText: qsTrId("vorn_sync_monitor_no_pairs")
            delegate: PairRow {}
        }
    }
    PlainLabel {
        text: qsTrId("vorn_sync_monitor_recent")
        font.bold: true
    }
    Card {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 30
        Layout.maximumHeight: 132 // what there is at most, five rows

        RowList {
            objectName: "eventList"
            anchors { fill: parent; margins: 1 }
            model: syncManager.recentEvents
            title: qsTrId("vorn_sync_monitor_recent")
            emptyText: qsTrId("vorn_sync_monitor_no_recent")
            delegate: EventRow {}
        }
    }
}
