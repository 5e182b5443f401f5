#include "kvsetup/profile_check.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>

#include "kvsetup/host.h"

namespace profile_check {
namespace {

constexpr char kHowToScramble[] = "scramble it with: kvsetup answers scramble --source MEDIUM";

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\v\f");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t\v\f") - first + 1);
}

std::string Short(const std::string& text) { return text.size() <= 40 ? text : text.substr(0, 37) + "..."; }

bool IsDigits(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// How many letters are to be put in, left out or changed. Longer names than any that is known are far from all.
std::size_t Distance(const std::string& a, const std::string& b) {
    if (a.size() > 64) return a.size();
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t corner = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = corner + (a[i - 1] == b[j - 1] ? 0 : 1);
            corner = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

bool Names(const std::string& pattern, const std::string& name) {
    if (pattern == "*") return true;
    if (!pattern.ends_with("nn")) return Lower(pattern) == Lower(name);
    return name.size() == pattern.size() && IsDigits(name.substr(name.size() - 2)) &&
           Lower(pattern.substr(0, pattern.size() - 2)) == Lower(name.substr(0, name.size() - 2));
}

std::string Nearest(const std::string& name, const std::set<std::string>& known) {
    std::string nearest;
    std::size_t best = std::max<std::size_t>(2, name.size() / 4) + 1;
    for (const std::string& candidate : known) {
        const std::size_t distance = Distance(Lower(name), Lower(candidate));
        if (distance < best && distance < candidate.size()) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

bool IsRange(const std::string& value) {
    return std::all_of(value.begin(), value.end(), [](char c) { return IsDigits({c}) || c == ',' || c == '.'; }) &&
           std::count(value.begin(), value.end(), ',') <= 1;
}

bool IsScrambled(const std::string& value) {
    return value.size() % 2 == 0 &&
           std::all_of(value.begin(), value.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

bool IsAllowed(const Key& key, const std::string& value) {
    switch (key.kind) {
        case Kind::Flag:
            return value == "0" || value == "1";
        case Kind::YesNo:
            return Lower(value) == "yes" || Lower(value) == "no";
        case Kind::Number:
            return IsDigits(value) && value.size() <= 9 && std::stoi(value) <= key.limit;
        case Kind::Range:
            return IsRange(value);
        case Kind::ScrambledPassword:
            return IsScrambled(value);
        default:
            return true;
    }
}

class Checker {
  public:
    explicit Checker(std::span<const Key> keys) : m_keys(keys) {
        for (const Key& key : keys) m_sections.insert(key.section);
    }
    std::vector<Finding> Run(const std::string& text) {
        std::string line;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '\r' && text[i] != '\n') {
                line += text[i];
                continue;
            }
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
            Line(line);
            line.clear();
        }
        Line(line);
        if (m_entries == 0) m_findings.insert(m_findings.begin(), Finding{0, true, false, "holds no entry"});
        return std::move(m_findings);
    }

  private:
    void Say(bool isError, const std::string& message) { m_findings.push_back({m_line, isError, false, message}); }
    void Unknown(const std::string& what, const std::string& name, const std::set<std::string>& known) {
        const std::string nearest = Nearest(name, known);
        Say(!nearest.empty(), what + ' ' + Short(name) + " is not read" +
                                  (nearest.empty() ? std::string() : "; did you mean " + nearest + "?"));
    }
    void Line(const std::string& whole) {
        ++m_line;
        const std::string line = Trimmed(whole);
        if (line.empty() || line[0] == ';') return;
        if (line[0] == '[') return Section(line);
        const std::size_t equals = line.find('=');
        // Not repeated: it may be a password that lost its key.
        if (equals == line.npos) return Say(true, "is no section, no entry and no comment: there is no '='");
        if (!m_inSection) return Say(true, "stands before the first section and is not read");
        Entry(Trimmed(line.substr(0, equals)), Trimmed(line.substr(equals + 1)));
    }
    void Section(const std::string& line) {
        const std::size_t end = line.find(']');
        if (end == line.npos) Say(true, "a section's name has no ']'");
        const std::string name = Trimmed(line.substr(1, end == line.npos ? end : end - 1));
        m_inSection = true;
        m_section.clear();
        m_seen.clear();
        for (const std::string& known : m_sections)
            if (Lower(known) == Lower(name)) m_section = known;
        if (m_section.empty()) return Unknown("section", name, m_sections);
        const auto [first, isNew] = m_sectionLines.emplace(m_section, m_line);
        if (!isNew)
            Say(true, "section " + m_section + " stands in line " + std::to_string(first->second) +
                          " already; this one is not read");
    }
    void Entry(const std::string& name, std::string value) {
        ++m_entries;
        if (m_section.empty()) return;  // the section was named
        const auto [first, isNew] = m_seen.emplace(Lower(name), m_line);
        if (!isNew)
            return Say(true, "key " + Short(name) + " stands in line " + std::to_string(first->second) +
                                 " already; this one is not read");
        std::set<std::string> known;
        for (const Key& key : m_keys) {
            if (m_section != key.section) continue;
            if (Names(key.key, name)) {
                Value(key, name, value);
                return host::Wipe(value);
            }
            known.insert(key.key);
        }
        Unknown("key", name, known);
    }
    void Value(const Key& key, const std::string& name, const std::string& quoted) {
        const bool isQuoted =
            quoted.size() > 1 && (quoted[0] == '"' || quoted[0] == '\'') && quoted.back() == quoted[0];
        const std::string value = isQuoted ? quoted.substr(1, quoted.size() - 2) : quoted;
        if (value.empty()) return;
        if (!IsAllowed(key, value)) {
            const bool isPassword = key.kind == Kind::ScrambledPassword;
            const std::string reason = isPassword ? std::string("is no scrambled text; ") + kHowToScramble
                                                  : "is " + Short(value) + "; it must be " + AllowedValues(key);
            m_findings.push_back({m_line, true, isPassword, name + ' ' + reason});
        } else if (key.kind != Kind::Number && value.size() > std::size_t(key.limit)) {
            Say(true, name + " is longer than " + std::to_string(key.limit) + " characters and would be cut");
        } else if (key.kind == Kind::PlainPassword) {
            const bool hasBase = std::any_of(m_keys.begin(), m_keys.end(), [&](const Key& other) {
                return other.kind == Kind::ScrambledPassword && Lower(other.key) == Lower(key.key);
            });
            Say(false, name + " is a password in clear text; " +
                           (hasBase ? kHowToScramble + std::string(", and put it into section Base")
                                    : "let nobody else read this file"));
        } else if (std::any_of(value.begin(), value.end(), [](char c) { return static_cast<signed char>(c) < 0; })) {
            Say(false, name + " has characters beyond ASCII; they are read in the machine's own code page");
        }
    }

    std::span<const Key> m_keys;
    std::set<std::string> m_sections;
    std::string m_section;
    bool m_inSection = false;
    std::map<std::string, int> m_sectionLines;
    std::map<std::string, int> m_seen;
    int m_line = 0;
    int m_entries = 0;
    std::vector<Finding> m_findings;
};

// The low halves of the characters; others than those of one byte become '?' beyond ASCII.
std::string Narrow(const std::string& wide) {
    std::string text;
    for (std::size_t i = 2; i + 1 < wide.size(); i += 2) text += wide[i + 1] == '\0' ? wide[i] : '\xBF';
    return text;
}

}  // namespace

std::string AllowedValues(const Key& key) {
    const std::string limit = std::to_string(key.limit);
    switch (key.kind) {
        case Kind::Flag:
            return "0 or 1";
        case Kind::YesNo:
            return "YES or NO";
        case Kind::Number:
            return "a number from 0 to " + limit;
        case Kind::Range:
            return "FROM,TO in numbers, up to " + limit + " characters";
        case Kind::Path:
            return "a path, up to " + limit + " characters";
        case Kind::PlainPassword:
            return "a password in clear text, up to " + limit + " characters";
        case Kind::ScrambledPassword:
            return "a scrambled password: pairs of hexadecimal digits";
        default:
            return "a text, up to " + limit + " characters";
    }
}

std::string ReadFile(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) throw Failure{kBadInput, file + " does not exist"};
    if (std::filesystem::is_directory(status)) throw Failure{kBadInput, file + " is a directory"};
    if (!std::filesystem::is_regular_file(status)) throw Failure{kBadInput, file + " is no ordinary file"};
    std::ifstream stream(file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad()) throw Failure{kBadInput, file + " cannot be read"};
    return bytes;
}

std::vector<Finding> Check(std::string bytes, std::span<const Key> keys) {
    const auto whole = [](const char* message) { return std::vector<Finding>{{0, true, false, message}}; };
    if (bytes.empty()) return whole("is empty");
    if (bytes.starts_with("\xFE\xFF")) return whole("is UTF-16 with its bytes swapped, which is not read");
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return whole("begins with the mark of UTF-8, which hides its first line; save it without");
    if (bytes.starts_with("\xFF\xFE")) bytes = Narrow(bytes);
    if (bytes.find('\0') != bytes.npos) return whole("is binary and no profile");
    std::vector<Finding> findings = Checker(keys).Run(bytes);
    host::Wipe(bytes);
    return findings;
}

std::string Markdown(std::span<const Key> keys) {
    std::string text = "| Section | Key | Value | Default | Meaning |\n|---|---|---|---|---|\n";
    for (const Key& key : keys) {
        text += std::string("| `") + key.section + "` | `" + key.key + "` | " + AllowedValues(key) + " | " +
                (*key.fallback == '\0' ? std::string("none") : std::string(1, '`') + key.fallback + '`') + " | " +
                key.meaning + " |\n";
    }
    return text;
}

std::string CommentedFile(std::span<const Key> keys) {
    std::string text = "; Take the ';' away from the lines that say something else than the default.\n";
    std::string section;
    for (const Key& key : keys) {
        if (section != key.section) text += std::string("\n[") + key.section + "]\n";
        section = key.section;
        text +=
            std::string("; ") + key.meaning + ": " + AllowedValues(key) + ".\n;" + key.key + '=' + key.fallback + '\n';
    }
    return text;
}

int Report(const std::string& file, const std::vector<Finding>& findings, bool json, const Json& more) {
    const auto errors = std::count_if(findings.begin(), findings.end(), [](const Finding& f) { return f.isError; });
    const int exitCode = errors == 0 ? kDone : kBadInput;
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"line", finding.line}, {"error", finding.isError}, {"message", finding.message}});
        if (json) continue;
        const std::string place = finding.line == 0 ? "" : ':' + std::to_string(finding.line);
        (finding.isError ? std::cerr : std::cout)
            << "kvsetup: " << console::Printable(file) << place << (finding.isError ? ": " : ": warning: ")
            << console::Printable(finding.message) << '\n';
    }
    if (json) {
        Json report{{"file", file}, {"exitCode", exitCode}, {"findings", list}};
        report.update(more);
        console::PrintJson(report);
    } else if (errors == 0) {
        std::cout << console::Printable(file) << ": nothing is wrong\n";
    }
    return exitCode;
}

}  // namespace profile_check
