#pragma once

#include <QStringView>

namespace Osc {

// Whether an OSC address pattern matches an address. In the pattern:
//   ?       any one character but '/'
//   *       any run of characters without '/', the empty run included
//   [a-z]   one character of the set (ranges and single characters); [!a-z] one outside
//           it. A set never matches '/'; '-' first or last is itself; the first ']' closes.
//   {a,bc}  one of the comma-separated strings, whose characters are all literal
// Every other character matches itself. A pattern with an unclosed '[' or '{', or a '{'
// inside braces, matches nothing. The work is bounded by the product of the two lengths,
// whatever the pattern: no backtracking.
bool oscPatternMatches(QStringView pattern, QStringView address);

} // namespace Osc
