import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15

// The state, what can be done about it, the counters, and how far the work has come.
ColumnLayout {
    id: header

    readonly property bool isCompact: Window.height < Theme.low
    readonly property bool isNarrow: Window.width < Theme.narrow && !isCompact

    spacing: isCompact ? Theme.gap / 2 : Theme.gap

    GridLayout {
        Layout.fillWidth: true
        columns: header.isNarrow ? 1 : 2
        columnSpacing: Theme.margin
        rowSpacing: Theme.gap

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.margin

            Image {
                source: "image://status/" + host.status.state
                sourceSize: Qt.size(40, 40)
                Accessible.ignored: true
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                Accessible.role: Accessible.StaticText
                Accessible.name: qsTrId("vorn_sync_monitor_state_label").arg(host.status.text)

                PlainLabel {
                    Layout.fillWidth: true
                    objectName: "stateText"
                    text: host.status.text
                    font { pixelSize: 19; bold: true }
                }
                PlainLabel {
                    Layout.fillWidth: true
                    text: host.statePath
                    elide: Text.ElideMiddle
                    color: Theme.faint
                }
            }
        }
        Flow {
            Layout.alignment: Qt.AlignVCenter
            Layout.fillWidth: header.isNarrow
            spacing: Theme.gap

            ActionButton {
                objectName: "syncButton"
                text: qsTrId("vorn_sync_monitor_sync")
                hintText: qsTrId("vorn_sync_monitor_sync_hint")
                enabled: !host.status.isPaused
                onClicked: syncManager.requestSync()
            }
            ActionButton {
                objectName: "pauseButton"
                text: host.status.isPaused ? qsTrId("vorn_sync_monitor_resume")
                                           : qsTrId("vorn_sync_monitor_pause")
                hintText: host.status.isPaused ? qsTrId("vorn_sync_monitor_resume_hint")
                                               : qsTrId("vorn_sync_monitor_pause_hint")
                onClicked: host.setPaused(!host.status.isPaused)
            }
        }
    }

    GridLayout {
        Layout.fillWidth: true
        columns: header.isNarrow ? 2 : 4
        columnSpacing: Theme.gap
        rowSpacing: Theme.gap

        Counter {
            Layout.fillWidth: true
            isCompact: header.isCompact
            objectName: "doneCounter"
            title: qsTrId("vorn_sync_monitor_count_done")
            value: syncManager.doneCount
            colour: Theme.good
        }
        Counter {
            Layout.fillWidth: true
            isCompact: header.isCompact
            objectName: "pendingCounter"
            title: qsTrId("vorn_sync_monitor_count_pending")
            value: syncManager.pendingCount
        }
        Counter {
            Layout.fillWidth: true
            isCompact: header.isCompact
            objectName: "inProgressCounter"
            title: qsTrId("vorn_sync_monitor_count_in_progress")
            value: syncManager.inProgressCount
        }
        Counter {
            Layout.fillWidth: true
            isCompact: header.isCompact
            objectName: "errorCounter"
            title: qsTrId("vorn_sync_monitor_count_errors")
            value: syncManager.errorCount
            colour: syncManager.errorCount > 0 ? Theme.bad : Theme.text
        }
    }

    ProgressBar {
        id: bar
        Layout.fillWidth: true
        objectName: "progressBar"
        value: host.status.progress
        opacity: host.status.isWorking ? 1 : 0 // keeps its place, or all would jump
        padding: 0
        Accessible.ignored: !host.status.isWorking
        Accessible.role: Accessible.ProgressBar
        Accessible.name: qsTrId("vorn_sync_monitor_progress")

        background: Rectangle {
            implicitHeight: 6
            radius: 3
            color: Theme.line
        }
        contentItem: Item {
            Rectangle {
                anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
                width: bar.visualPosition * parent.width
                radius: 3
                color: Theme.accent
            }
        }
    }
}
