.pragma library

// A recorded backend call as one line, e.g. sendOscTyped("/a","f",[0.2]).
function describeCall(call) {
    return call.method + "(" + JSON.stringify(call.args).slice(1, -1) + ")"
}

function describeCalls(calls) {
    return calls.map(describeCall)
}

function controlKind(item) {
    if (item.valueScale !== undefined)
        return "fader"
    if (item.stringValue !== undefined)
        return "button"
    if (item.xValue !== undefined)
        return "xy"
    return ""
}

// The desk's controls under item, in layout order.
function controlsIn(item) {
    const found = []
    const visit = function(node) {
        for (let i = 0; i < node.children.length; ++i) {
            const child = node.children[i]
            if (controlKind(child) !== "")
                found.push(child)
            else
                visit(child)
        }
    }
    visit(item)
    return found
}

function describeControl(control) {
    const kind = controlKind(control)
    let text = kind + " u" + control.universe + " ch" + control.channel + " '" + control.label + "' "
            + control.oscAddress
    if (kind !== "xy")
        text += " ," + control.argType
    if (kind === "button")
        text += " " + control.mode + " '" + control.stringValue + "'"
    return text
}

function stripsIn(item) {
    const found = []
    const visit = function(node) {
        for (let i = 0; i < node.children.length; ++i) {
            const child = node.children[i]
            if (child.buttonColumns !== undefined)
                found.push(child)
            else
                visit(child)
        }
    }
    visit(item)
    return found
}
