import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// What has happened since the start.
Card {
    RowList {
        id: list
        objectName: "logList"
        anchors { fill: parent; margins: 1 }
        model: host.log
        title: qsTrId("vorn_sync_monitor_log")
        emptyText: qsTrId("vorn_sync_monitor_log_empty")
        delegate: LogRow {}

        property bool follows: true // the end, until the user goes elsewhere

        onMovementEnded: follows = atYEnd
        onCurrentIndexChanged: follows = currentIndex === count - 1
        onCountChanged: if (follows) currentIndex = count - 1
    }
}
