.pragma library

// A recorded backend call as one line, e.g. sendOscTyped("/a","f",[0.2]).
function describeCalls(calls) {
    return calls.map(call => call.method + "(" + JSON.stringify(call.args).slice(1, -1) + ")")
}

function controlKind(item) {
    if (item.valueScale !== undefined)
        return "fader"
    if (item.stringValue !== undefined)
        return "button"
    return item.xValue !== undefined ? "xy" : ""
}

// The items under item that match, in layout order, without looking inside a match.
function findAll(item, matches) {
    const found = []
    for (let i = 0; i < item.children.length; ++i) {
        const child = item.children[i]
        if (matches(child))
            found.push(child)
        else
            found.push(...findAll(child, matches))
    }
    return found
}

// The desk's controls under item.
function controlsIn(item) {
    return findAll(item, child => controlKind(child) !== "")
}

function stripsIn(item) {
    return findAll(item, child => child.buttonColumns !== undefined)
}

function describeControl(control) {
    const kind = controlKind(control)
    return kind + " u" + control.universe + " ch" + control.channel + " '" + control.label + "' " + control.oscAddress
            + (kind !== "xy" ? " ," + control.argType : "")
            + (kind === "button" ? " " + control.mode + " '" + control.stringValue + "'" : "")
}
