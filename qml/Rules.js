.pragma library

// A fader or pad sends at most once per this many milliseconds while it moves.
var throttleInterval = 33

// The local path of a file URL, as QUrl::toLocalFile gives it (a drive letter after
// the slash is taken as a Windows path); any other text is returned unchanged.
function urlToLocalPath(url) {
    const text = String(url)
    const parts = /^file:(\/\/([^\/?#]*))?([^?#]*)/i.exec(text)
    if (parts === null)
        return text
    const host = parts[2] !== undefined ? parts[2].toLowerCase() : ""
    // As in QUrl's tolerant parsing, a stray "%" means the path is not encoded at all.
    let path = parts[3]
    if (!/%(?![0-9A-Fa-f]{2})/.test(path)) {
        path = path.replace(/(%[0-9A-Fa-f]{2})+/g, function(run) {
            try {
                return decodeURIComponent(run)
            } catch (error) {
                return run
            }
        })
    }
    if (host !== "")
        return "//" + host + path
    if (/^\/[A-Za-z]:/.test(path))
        return path.substring(1)
    return path
}
