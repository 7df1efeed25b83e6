#pragma once

#include <string_view>

namespace morv {

// The forms of scalars and entities in XML property lists. Surrounding white space belongs to none of them.

// A number in decimal, with or without sign, or an unsigned one in hexadecimal with "0x", that fits into 64
// bits, signed or not.
bool isIntegerText(std::string_view text);
// A decimal number whose double is finite, or a name of what is infinite or no number. Under the C locale.
bool isRealText(std::string_view text);
// Bytes in base64, padded to whole groups of four, with white space anywhere.
bool isBase64Text(std::string_view text);

// Whether a name or number between "&" and ";" stands for a character that XML may hold.
bool isEntityName(std::string_view name);

bool isXmlSpace(char c) noexcept;
std::string_view withoutOuterSpace(std::string_view text);

}  // namespace morv
