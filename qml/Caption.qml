import QtQuick
import "Palette.js" as Palette

// A panel's secondary caption.
Text {
    font.pixelSize: 11
    color: Palette.caption
}
