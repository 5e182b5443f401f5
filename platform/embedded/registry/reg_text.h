// Registry keys and values as text: the .reg files of Windows' own tool, and single values as lines for a person.
#ifndef INSTALIB_EMBEDDED_REGISTRY_REG_TEXT_H
#define INSTALIB_EMBEDDED_REGISTRY_REG_TEXT_H

#include <functional>
#include <string>
#include <string_view>

#include "platform/embedded/store/store.h"

namespace embedded::reg_text {

// One instruction of a .reg file. Texts and data are in the machine's code page, as its values keep them.
struct Step {
    enum class Kind { MakeKey, DeleteKey, SetValue, EraseValue };
    Kind kind = Kind::MakeKey;
    std::string key;  // with the root as it was written: "HKEY_LOCAL_MACHINE\\SOFTWARE\\X"
    StoredValue value;
    std::size_t line = 0;
};

// Takes a step of a file that is being read; null, or why it cannot be taken, which ends the reading.
using Sink = std::function<const char*(const Step&)>;

// Reads a file's bytes: REGEDIT4 or "Windows Registry Editor Version 5.00", 8-bit or UTF-16 with its mark, either line
// end. Each step is handed on as it is read. False, with "line 12: ..." in `problem`, at the first that cannot be
// understood or taken.
bool Parse(std::string_view bytes, const Sink& sink, std::string* problem);

// "name"=type:data on one line or, wrapped, on several lines with CRLF. Both forms are understood by Parse; texts that
// the quoted form would change are written as bytes. `version5` writes the bytes of texts in UTF-16.
void AppendValue(const StoredValue& value, bool version5, bool wrapped, std::string* text);

// The line of a value without its name, read as a REGEDIT4 file has it. False when it is none.
bool ParseValueLine(const std::string& line, StoredValue* value);

}  // namespace embedded::reg_text

#endif
