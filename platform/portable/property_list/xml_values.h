// The contents of the elements of an XML property list that hold neither text nor elements.
// Whether Apple's reader takes them is all that is asked.
#pragma once

#include <string_view>

namespace velmora {

// White space, a sign, white space, and digits or "0x" and hexadecimal ones, of a value that fits
// 64 bits: unsigned, or signed behind "-". No white space behind it.
bool isPropertyListInteger(std::string_view content);

// White space and a decimal number with or without exponent; or a name of infinity, or "nan".
bool isPropertyListReal(std::string_view content);

// YYYY-MM-DDThh:mm:ssZ, the year of any length and sign, the others of any two digits.
bool isPropertyListDate(std::string_view content);

// Base 64, of which the reader passes over every character it does not know, if it is ASCII.
bool isPropertyListData(std::string_view content);

}  // namespace velmora
