import QtQuick
import "Palette.js" as Palette

// The look that the toolbar and the panels share.
Rectangle {
    color: Palette.panel
    radius: 8
    border.color: Palette.border
    border.width: 1
}
