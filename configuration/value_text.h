#pragma once

// Registry values as text and back, in the forms of the settings file. The two directions do not fit
// together everywhere (types without a name, "&amp;" inside a text, binary data of no bytes); files in use
// rely on each direction as it is.

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "platform/win32.h"

// "&", the double quote and "<" become entities, and the computer's code page becomes UTF-8. ">" and the
// apostrophe stay as they are.
CString XmlEscape(std::string_view text);
// The same behind what `out` holds.
void AppendXmlEscaped(CString& out, std::string_view text);

// UTF-8 becomes the computer's code page (its default character for what it lacks), then the three entities
// of XmlEscape become characters. "&amp;" is taken apart until none is left: "&amp;amp;" gives "&". Time in
// proportion to the text.
CString XmlUnescape(std::string_view text);

// The text of a value's data. `type` is one of the REG_ constants of winnt.h or any other number, which is
// read as text. Numbers with fewer bytes than their type has are filled up with zero bytes.
CString FormatRegValue(DWORD type, std::span<const BYTE> data);

// The data of a value's text; empty when there are none. Nothing for a number that is cut short: the text of
// a REG_DWORD under 10 and of a REG_QWORD under 18 characters, unless it is empty.
std::optional<std::vector<BYTE>> ParseRegValue(std::string_view text, DWORD type);

// Not inverse to each other: see the table in the source.
std::string_view RegTypeName(DWORD type);
DWORD RegTypeFromName(std::string_view name);

// `pairs` holds a pattern and its replacement in turn; null stands for none. A pattern that the text as it
// came in holds in any case is replaced wherever it now stands in its own case. Throws std::out_of_range at
// a pattern without a replacement.
CString SubstituteTokens(CString text, const CStringList* pairs);
