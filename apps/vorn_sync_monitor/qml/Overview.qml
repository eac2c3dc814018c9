import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// The pairs, and the last operations.
ColumnLayout {
    id: page

    function addPair() {
        pairDialog.start()
    }

    spacing: Theme.gap

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.gap

        PlainLabel {
            Layout.fillWidth: true
            text: qsTrId("vorn_sync_monitor_pairs")
            font.bold: true
        }
        ActionButton {
            objectName: "addPairButton"
            text: qsTrId("vorn_sync_monitor_add_pair")
            hintText: qsTrId("vorn_sync_monitor_add_pair_hint")
            onClicked: page.addPair()
        }
    }
    Card {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 56

        RowList {
            id: pairList
            objectName: "pairList"
            anchors { fill: parent; margins: 1 }
            model: host.pairs
            title: qsTrId("vorn_sync_monitor_pairs")
            emptyText: qsTrId("vorn_sync_monitor_no_pairs")
            delegate: PairRow {
                onRemovalAsked: removeDialog.askFor(alias)
            }
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
    PairDialog { id: pairDialog }
    AskDialog {
        id: removeDialog

        property string alias

        function askFor(pairAlias) {
            alias = pairAlias
            ask(host.pairEditor.removalQuestion(alias), qsTrId("vorn_sync_monitor_stop_mirroring"))
        }
        preferredWidth: 480
        onAccepted: {
            const problem = host.pairEditor.remove(alias)
            if (problem !== "")
                tellDialog.tell(title, problem)
        }
    }
    TellDialog { id: tellDialog }
}
