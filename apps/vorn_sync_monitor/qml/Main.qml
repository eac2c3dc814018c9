import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15

ApplicationWindow {
    id: window
    objectName: "monitorWindow"

    readonly property var theme: Theme

    width: Math.min(940, Screen.desktopAvailableWidth)
    height: Math.min(660, Screen.desktopAvailableHeight)
    minimumWidth: 480
    minimumHeight: 360
    visible: true
    title: qsTrId("vorn_sync_monitor_title")
    color: Theme.window
    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true

    palette.window: Theme.window
    palette.windowText: Theme.text
    palette.base: Theme.base
    palette.text: Theme.text
    palette.button: Theme.raised
    palette.buttonText: Theme.text
    palette.light: Theme.raised
    palette.midlight: Theme.raised
    palette.mid: Theme.line
    palette.dark: Theme.line
    palette.highlight: Theme.accent
    palette.highlightedText: Theme.accentText
    palette.toolTipBase: Theme.raised
    palette.toolTipText: Theme.text

    Shortcut {
        sequence: "F5"
        enabled: !host.status.isPaused
        onActivated: syncManager.requestSync()
    }
    Shortcut {
        sequence: "Ctrl+P"
        onActivated: host.setPaused(!host.status.isPaused)
    }
    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: Qt.quit()
    }
    Shortcut {
        sequence: "Ctrl+1"
        onActivated: pageBar.currentIndex = 0
    }
    Shortcut {
        sequence: "Ctrl+2"
        onActivated: pageBar.currentIndex = 1
    }
    Shortcut {
        sequence: "Ctrl+3"
        onActivated: pageBar.currentIndex = 2
    }

    Shortcut {
        sequence: "Ctrl+N"
        onActivated: {
            pageBar.currentIndex = 0
            overview.addPair()
        }
    }

    ColumnLayout {
        anchors { fill: parent; margins: window.height < Theme.low ? Theme.gap : Theme.margin }
        spacing: window.height < Theme.low ? Theme.gap / 2 : Theme.gap

        StatusHeader {
            Layout.fillWidth: true
        }
        PlainTabBar {
            id: pageBar
            Layout.fillWidth: true
            objectName: "pageBar"
            accessibleName: window.title

            PlainTab {
                objectName: "overviewTab"
                text: qsTrId("vorn_sync_monitor_overview")
            }
            PlainTab {
                objectName: "errorsTab"
                text: host.errors.count === 0
                      ? qsTrId("vorn_sync_monitor_errors_tab")
                      : qsTrId("vorn_sync_monitor_errors_tab_count").arg(host.errors.count)
            }
            PlainTab {
                objectName: "logTab"
                text: qsTrId("vorn_sync_monitor_log_tab")
            }
        }
        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: pageBar.currentIndex

            Overview { id: overview }
            ErrorsPage {}
            LogPage {}
        }
    }
}
