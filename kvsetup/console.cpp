#include "kvsetup/console.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace console {
namespace {

constexpr std::size_t kLabelWidth = 24;

std::string Plain(const Json& value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (!value.is_array()) return value.is_string() ? Printable(value.get<std::string>()) : value.dump();
    std::string joined;
    for (const Json& element : value) joined += (joined.empty() ? "" : ", ") + Plain(element);
    return joined.empty() ? "none" : joined;
}

// The length of the UTF-8 sequence at `text[at]`, 0 when it is none, or one that drives a terminal (U+0080 to U+009F).
// Overlong forms, surrogates and what is beyond U+10FFFF are none.
std::size_t Utf8Length(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u;
    };
    const unsigned first = byte(0), second = byte(1);
    const std::size_t length = first >= 0xF0 && first < 0xF5   ? 4
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xC2                 ? 2
                                                               : 0;
    if (length == 0 || first >= 0xF5) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    const unsigned least = first == 0xC2 || first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    return second >= least && second <= most ? length : 0;
}

std::optional<std::string> ReadLine() {
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

bool& IsByLine() {
    static bool isByLine = false;
    return isByLine;
}

bool& IsSetup() {
    static bool isSetup = false;
    return isSetup;
}

Json& Document() {
    static Json document = Json::object();
    return document;
}

// "main product path" becomes "mainProductPath"; keys of one word, and names that are keys, stay.
std::string CamelCase(const std::string& key) {
    std::string name;
    for (const char c : key) {
        const bool isUpper = !name.empty() && name.back() == ' ';
        if (isUpper) name.pop_back();
        name += isUpper && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return name;
}

Json InCamelCase(const Json& data) {
    if (!data.is_structured()) return data;
    Json result = data.is_object() ? Json::object() : Json::array();
    for (const auto& [key, value] : data.items()) {
        if (data.is_object()) {
            result[CamelCase(key)] = InCamelCase(value);
        } else {
            result.push_back(InCamelCase(value));
        }
    }
    return result;
}

}  // namespace

std::string Printable(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const std::size_t length = byte >= 0x20 && byte < 0x7F ? 1 : byte >= 0x80 ? Utf8Length(text, i) : 0;
        if (length != 0) {
            result.append(text, i, length);
            i += length;
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
        result += escaped;
        ++i;
    }
    return result;
}

void PrintFacts(const Json& facts, int indent) {
    for (const auto& [label, value] : facts.items()) {
        std::string line(std::size_t(indent), ' ');
        line += label;
        if (value.is_object()) {
            std::cout << line << '\n';
            PrintFacts(value, indent + 2);
            continue;
        }
        line.resize(std::max(line.size() + 1, kLabelWidth), ' ');
        std::cout << line << Plain(value) << '\n';
    }
}

void PrintTable(const std::vector<std::string>& headings, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const std::string& heading : headings) widths.push_back(heading.size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Printable(row[i]).size());
    }
    const auto print = [&widths](const std::vector<std::string>& row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            std::string cell = Printable(row[i]);
            if (i + 1 < row.size()) cell.resize(widths[i] + 2, ' ');
            line += cell;
        }
        std::cout << line << '\n';
    };
    print(headings);
    for (const auto& row : rows) print(row);
}

void PrintJson(const Json& data) { Document() = data; }

void PrintJsonLine(const Json& data) {
    IsByLine() = true;
    std::cout << data.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

void EndJson(int exitCode, const std::string& error) {
    if (IsByLine()) return;
    Json document = InCamelCase(Document());
    if (!document.contains("changed")) document["changed"] = false;
    document["exitCode"] = exitCode;
    if (!error.empty()) document["error"] = Printable(error);
    // Product texts need not be UTF-8: what is not is replaced, so that the output is always valid JSON.
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void SetupWasDone() { IsSetup() = true; }

int EndOutput(int exitCode, std::string* problem) {
    std::cout.flush();
    if (std::cout || exitCode != kDone || IsSetup()) return exitCode;
    *problem = "the output cannot be written";
    return kFailed;
}

void Warn(const std::string& message) {
    std::cout.flush();
    std::cerr << "kvsetup: warning: " << Printable(message) << '\n';
}

std::optional<std::string> Ask(const std::string& question, const std::string& fallback) {
    std::cout << question << (fallback.empty() ? "" : " [" + Printable(fallback) + "]") << ": " << std::flush;
    std::optional<std::string> answer = ReadLine();
    if (answer && answer->empty()) answer = fallback;
    return answer;
}

std::optional<bool> AskYesNo(const std::string& question, bool fallback) {
    for (;;) {
        const std::optional<std::string> answer = Ask(question + (fallback ? " (Y/n)" : " (y/N)"), "");
        if (!answer) return std::nullopt;
        if (answer->empty()) return fallback;
        const char first = (*answer)[0];
        if (first == 'y' || first == 'Y') return true;
        if (first == 'n' || first == 'N') return false;
        std::cout << "Please answer y or n.\n";
    }
}

}  // namespace console
