import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A file in error with the answers that are permitted.
ListRow {
    id: row

    required property string alias
    required property string fileName
    required property int errorCode
    required property int status
    required property string shownAlias
    required property string shownName
    required property string sentence
    required property string hint
    property var answers: []

    objectName: "errorRow"
    height: line.implicitHeight + 2 * Theme.gap
    accessibleName: qsTrId("vorn_sync_monitor_error_label").arg(shownName).arg(shownAlias).arg(sentence)

    RowLayout {
        id: line
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter }
        anchors { leftMargin: Theme.margin; rightMargin: Theme.margin + Theme.gap }
        spacing: Theme.margin

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.gap

                PlainLabel {
                    Layout.fillWidth: true
                    Layout.maximumWidth: implicitWidth + 1
                    objectName: "errorName"
                    text: row.shownName
                    elide: Text.ElideMiddle
                    font.bold: true
                }
                PlainLabel {
                    Layout.maximumWidth: line.width / 4
                    text: row.shownAlias
                    elide: Text.ElideMiddle
                    color: Theme.faint
                }
                Item { Layout.fillWidth: true }
            }
            PlainLabel {
                Layout.fillWidth: true
                text: row.sentence + (row.hint === "" ? "" : " " + row.hint)
                color: Theme.faint
            }
        }
        RowLayout {
            spacing: Theme.gap

            Repeater {
                model: row.answers

                ActionButton {
                    required property var modelData

                    objectName: modelData.key + "Button"
                    text: modelData.label
                    accessibleName: qsTrId("vorn_sync_monitor_answer_label").arg(modelData.label).arg(row.shownName)
                    activeFocusOnTab: row.isCurrent || activeFocus
                    onClicked: {
                        row.choose() // the focus would go with the row
                        host.errors.give(modelData.answer, row.alias, row.fileName, row.errorCode, row.status)
                    }
                }
            }
        }
    }
}
