// The contents of the elements of an XML property list that hold neither text nor elements.
// Whether Apple's reader takes them is all that is asked.
#pragma once

#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// White space, a sign, white space, and digits or "0x" and hexadecimal ones, of a value that fits
// 64 bits: unsigned, or signed behind "-". No white space behind it.
bool isPropertyListInteger(CountingCursor content);

// White space and a decimal number with or without exponent; or a name of infinity, or "nan".
bool isPropertyListReal(CountingCursor content);

// YYYY-MM-DDThh:mm:ssZ, the year of any length and sign, the others of any two digits.
bool isPropertyListDate(CountingCursor content);

// Base 64, of which the reader passes over every character it does not know, if it is ASCII.
bool isPropertyListData(CountingCursor content);

}  // namespace velmora
