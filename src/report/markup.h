#pragma once

#include <string>
#include <string_view>

#include "core/numbers.h"

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

/// A moment or a length of time as the page shows it.
std::string time_text(const rational& time);

/// A coordinate: at most two decimals, whatever the locale.
std::string coordinate(double value);

}  // namespace zorvel::report
