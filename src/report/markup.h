#pragma once

#include <string>
#include <string_view>

namespace zorvel::report {

/// The text with what means something in HTML and SVG escaped, fit for the content of an element and for an
/// attribute in double quotes. Bytes that are no UTF-8 and control characters become U+FFFD, so that no text
/// can break out of its place, or the page with it.
std::string escaped(std::string_view text);

/// The first `length` characters of a text in UTF-8, the last one `…` if more were there. Empty for a length
/// below 2 if something is cut.
std::string shortened(std::string_view text, std::size_t length);

/// The number of characters of a text in UTF-8.
std::size_t length_of(std::string_view text);

/// A coordinate: at most two decimals, whatever the locale.
std::string coordinate(double value);

}  // namespace zorvel::report
