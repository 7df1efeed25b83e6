#pragma once

#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/PropertyListValue.h"
#include "platform/Result.h"

namespace morv {

// Reads and writes property lists. Nothing here throws, whatever the bytes are; each refusal says why, and
// for XML in which line. The program's locale does not matter and is left alone. Any thread but the render
// thread.
//
// Read are XML and the binary form ("bplist00") up to the limits of PropertyListLimits.h. Dictionaries keep
// all keys of the file in its order. If a key stands twice in one dictionary of an XML file, the later value
// counts. Dates are cut down to whole seconds.
//
// Written is XML alone. Whatever is written can be read again and is then the same value: reals have the
// shortest text that reads back to the same bits ("-0" for minus zero; "nan", "+infinity" and "-infinity"
// where there are no digits; the sign and the payload of what is no number are dropped). Refused are strings
// and keys that are no UTF-8 or hold characters that XML cannot, dates outside the years 1 to 9999 and values
// beyond the limits.
MORV_EXPORT Result<PropertyListValue> readPropertyList(std::string_view bytes);
MORV_EXPORT Result<std::string> writePropertyList(const PropertyListValue& value);

}  // namespace morv
