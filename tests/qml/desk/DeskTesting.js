.pragma library

// The items under item that match, in layout order, without looking inside a match.
function findAll(item, matches) {
    const found = []
    for (let i = 0; i < item.children.length; ++i)
        found.push(...(matches(item.children[i]) ? [item.children[i]] : findAll(item.children[i], matches)))
    return found
}

// A built strip (not the placeholder that builds it).
function isStrip(item) {
    return item.configure !== undefined && item.buttonColumns !== undefined
}

// The control labelled `label` on the strip named `stripName` under item, or null while
// that strip is not built.
function control(item, stripName, label) {
    const strip = findAll(item, child => isStrip(child) && child.name === stripName)[0]
    return strip ? findAll(strip, child => child.channel !== undefined && child.label === label)[0] || null : null
}
