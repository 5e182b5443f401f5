// JSON documents of the front end's own, of a kind and a version, with a checksum that tells one that was cut or
// edited.
#ifndef INSTALIB_KVSETUP_CHECKED_FILE_H
#define INSTALIB_KVSETUP_CHECKED_FILE_H

#include <string>

#include "kvsetup/console.h"

namespace checked_file {

struct Kind {
    const char* member;  // the document's first member, whose value is the version
    const char* noun;    // as people call it
    int version;
};

// FNV-1a of 64 bits, in hexadecimal: it tells edits and mix-ups, not forgers.
std::string Digest(const std::string& bytes);

// Adds the version and the checksum and writes the file; a Failure when it stands there already and is none of this
// kind, or cannot be written.
void Write(const std::string& file, const Kind& kind, const Json& document);
// A document that is whole and unedited; a Failure otherwise.
Json Read(const std::string& file, const Kind& kind);

std::string ToHex(const std::string& bytes);
bool FromHex(const std::string& text, std::string& bytes);

}  // namespace checked_file

#endif
