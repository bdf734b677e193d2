// Not a library: it runs in the importing document's context, where `backend` lives.

// The documents also load without a backend (in tests, or before one is published).
function hasBackend() {
    return typeof backend !== "undefined" && backend !== null
}

// The log's lines as a list model, published beside the backend.
function hasLogLines() {
    return typeof logLines !== "undefined" && logLines !== null
}

function hasMonitor() {
    return typeof monitor !== "undefined" && monitor !== null
}

function hasDesk() {
    return typeof desk !== "undefined" && desk !== null
}

function hasScenarios() {
    return typeof scenarios !== "undefined" && scenarios !== null
}

function hasDeskEditor() {
    return typeof deskEditor !== "undefined" && deskEditor !== null
}

// While the desk is being edited a click selects a control: nothing is sent.
function deskEditing() {
    return hasDeskEditor() && deskEditor.editing
}
