import QtQuick 2.15

// What belongs together stands on one of these.
Rectangle {
    color: Theme.base
    border.color: Theme.line
    radius: Theme.radius
}
