pragma Singleton

import QtQuick 2.15

// Colours and measures, for both themes. Texts have a contrast of 4.5 to 1 at least on what they stand on.
QtObject {
    readonly property SystemPalette desktop: SystemPalette {}
    readonly property bool isDark: host.theme === "" ? desktop.window.hslLightness < 0.5 : host.theme === "dark"

    readonly property color window: isDark ? "#1c2128" : "#f3f5f8"
    readonly property color base: isDark ? "#262c35" : "#ffffff"
    readonly property color raised: isDark ? "#333b47" : "#ffffff"
    readonly property color hovered: isDark ? "#3d4654" : "#e9edf2"
    readonly property color line: isDark ? "#454e5b" : "#cdd4dc"
    readonly property color text: isDark ? "#e8ecf1" : "#1c232b"
    readonly property color faint: isDark ? "#a9b4c0" : "#57626e"
    readonly property color accent: isDark ? "#6cb0ff" : "#0b5cc4"
    readonly property color accentText: isDark ? "#0d1117" : "#ffffff"
    readonly property color good: isDark ? "#56d06b" : "#1a7330"
    readonly property color bad: isDark ? "#ff9a6b" : "#a84300"

    readonly property color shade: isDark ? "#a0000000" : "#60000000" // behind a dialog

    readonly property int gap: 8
    readonly property int margin: 14
    readonly property int radius: 6
    readonly property int narrow: 640 // below this width of the window things stand under each other,
    readonly property int low: 560    // but below this height they share a line, however little they show of it
}
