import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A pair: where it leads, how it stands, and what may be done with it.
ListRow {
    id: row

    required property string alias
    required property string shownAlias
    required property string local
    required property string distant
    required property string stateText
    required property bool isAway
    required property bool isSuspended

    signal removalAsked()

    objectName: "pairRow"
    height: line.implicitHeight + 2 * Theme.gap
    accessibleName: qsTrId("vorn_sync_monitor_pair_label").arg(shownAlias).arg(stateText).arg(local).arg(distant)

    RowLayout {
        id: line
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter }
        anchors.margins: Theme.margin
        spacing: Theme.margin

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.gap

                PlainLabel {
                    Layout.maximumWidth: line.width / 2
                    text: row.shownAlias
                    elide: Text.ElideMiddle
                    font.bold: true
                }
                PlainLabel {
                    Layout.fillWidth: true
                    objectName: "pairState"
                    text: row.stateText
                    color: row.isAway ? Theme.bad : row.isSuspended ? Theme.faint : Theme.good
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.gap

                PlainLabel {
                    Layout.fillWidth: true
                    Layout.maximumWidth: implicitWidth + 1
                    text: row.local
                    elide: Text.ElideMiddle
                    color: Theme.faint
                }
                PlainLabel {
                    text: row.LayoutMirroring.enabled ? "\u2190" : "\u2192"
                    color: Theme.faint
                }
                PlainLabel {
                    Layout.fillWidth: true
                    text: row.distant
                    elide: Text.ElideMiddle
                    color: Theme.faint
                }
            }
        }
        RowLayout {
            spacing: Theme.gap

            ActionButton {
                objectName: "pausePairButton"
                text: row.isSuspended ? qsTrId("vorn_sync_monitor_resume_pair") : qsTrId("vorn_sync_monitor_pause_pair")
                accessibleName: (row.isSuspended ? qsTrId("vorn_sync_monitor_resume_pair_name")
                                                 : qsTrId("vorn_sync_monitor_pause_pair_name")).arg(row.shownAlias)
                activeFocusOnTab: row.isCurrent || activeFocus
                onClicked: host.setSuspended(row.alias, !row.isSuspended)
            }
            ActionButton {
                objectName: "removePairButton"
                text: qsTrId("vorn_sync_monitor_remove_pair")
                accessibleName: qsTrId("vorn_sync_monitor_remove_pair_name").arg(row.shownAlias)
                activeFocusOnTab: row.isCurrent || activeFocus
                onClicked: {
                    row.choose() // the focus would go with the row
                    row.removalAsked()
                }
            }
        }
    }
}
