pragma Singleton
import QtQuick

QtObject {
    readonly property color background: "#efeff4"
    readonly property color bar: "#f7f7f7"
    readonly property color separator: "#c8c7cc"
    readonly property color row: "#ffffff"
    readonly property color label: "#000000"
    readonly property color detail: "#8e8e93"
    readonly property color tint: "#007aff"
    readonly property color footer: "#6d6d72"
    readonly property int rowHeight: 44
}
