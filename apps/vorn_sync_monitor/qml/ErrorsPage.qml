import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15

// The files in error, a tab for each thing that the user may do about them.
ColumnLayout {
    id: page

    readonly property bool isCompact: Window.height < Theme.low
    readonly property bool isNarrow: Window.width < Theme.narrow && !isCompact
    readonly property var group: host.errors.groups[Math.max(0, groupBar.currentIndex)]

    spacing: isCompact ? Theme.gap / 2 : Theme.gap

    // Shows the first group that has files, when the chosen one has none.
    function chooseGroup() {
        if (page.group.count > 0)
            return
        for (let i = 0; i < host.errors.groups.length; ++i) {
            if (host.errors.groups[i].count > 0) {
                groupBar.currentIndex = i
                return
            }
        }
    }
    Component.onCompleted: chooseGroup()
    onVisibleChanged: chooseGroup()

    PlainTabBar {
        id: groupBar
        Layout.fillWidth: true
        objectName: "groupBar"
        visible: host.errors.count > 0
        accessibleName: qsTrId("vorn_sync_monitor_groups")

        Repeater {
            model: host.errors.groups

            PlainTab {
                required property var modelData

                objectName: modelData.key + "Tab"
                text: qsTrId("vorn_sync_monitor_group_tab").arg(modelData.title).arg(modelData.count)
                visible: modelData.count > 0 || checked
                width: visible ? implicitWidth : 0
            }
        }
    }
    GridLayout {
        Layout.fillWidth: true
        columns: page.isNarrow ? 1 : 2
        columnSpacing: Theme.margin
        rowSpacing: Theme.gap
        visible: groupBar.visible

        PlainLabel {
            Layout.fillWidth: true
            text: page.group.explanation
            maximumLineCount: page.isCompact ? 1 : 4
            wrapMode: page.isCompact ? Text.NoWrap : Text.Wrap
            color: Theme.faint
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Row {
            spacing: Theme.gap

            Repeater {
                model: page.group.answers

                ActionButton {
                    required property var modelData

                    objectName: modelData.key + "AllButton"
                    text: modelData.labelForAll
                    enabled: page.group.count > 0
                    onClicked: {
                        const count = host.errors.ask(page.group, modelData.answer)
                        askDialog.ask(page.group.question(modelData.answer, count), modelData.label)
                    }
                }
            }
        }
    }
    Card {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 80

        RowList {
            objectName: "errorList"
            anchors { fill: parent; margins: 1 }
            model: page.group
            title: page.group.title
            emptyText: host.errors.count === 0 ? qsTrId("vorn_sync_monitor_no_errors")
                                               : qsTrId("vorn_sync_monitor_group_empty")
            delegate: ErrorRow { answers: page.group.answers }
        }
    }
    AskDialog {
        id: askDialog
        onAccepted: host.errors.confirm()
    }
}
