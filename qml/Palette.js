.pragma library

// The window's colours, by what they are for.
var text = "#ffffff"
var caption = "#b0b0b0"
var faintCaption = "#808080"
var border = "#404040"
var accent = "#4fc3f7"
var panel = "#2d2d2d"
var deskBackground = "#121212"
var stripBackground = "#1e1e1e"
var controlBackground = "#252525"
var padBackground = "#1a1a1a"
var padCrosshair = "#3a5a6a"
var padKnob = "#81d4fa"
var checkedButton = "#1f3a47"
var buttonPressed = "#3d3d3d"
var splitGrip = "#707070"
var splitHandleHovered = "#5a5a5a"
var running = "#4caf50"
var stopped = "#f44336"
var logEvenRow = "#1e1e1e"
var logOddRow = "#252525"
var selectionTint = "#334fc3f7"
var editOutline = "#5a5a5a"
var invalid = "#ff9800"

// A log line's colour by its level tag, wherever the tag stands; the first rule that
// matches wins.
function logColor(message) {
    if (message.indexOf("[CRITICAL]") >= 0 || message.indexOf("[FATAL]") >= 0)
        return "#f44336"
    if (message.indexOf("[WARNING]") >= 0)
        return "#ff9800"
    if (message.indexOf("[DEBUG]") >= 0)
        return "#9e9e9e"
    return "#ffffff"
}
