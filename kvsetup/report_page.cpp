#include "kvsetup/report_page.h"

#include <set>

namespace {

constexpr char kStyle[] = R"(
:root { color-scheme: light dark; --text: #1b1b1f; --quiet: #55555e; --ground: #ffffff; --line: #c9c9d1;
  --head: #f1f1f5; --new: #14632b; --gone: #a1122a; --changed: #7a4a00; --link: #0b4fb3 }
@media (prefers-color-scheme: dark) { :root { --text: #ececf1; --quiet: #b4b4bf; --ground: #16161a; --line: #45454f;
  --head: #24242b; --new: #7bd893; --gone: #ff9aa8; --changed: #f0c274; --link: #9cc2ff } }
* { box-sizing: border-box }
body { margin: 0 auto; max-width: 80rem; padding: 1.5rem; background: var(--ground); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif }
h1 { font-size: 1.6rem; margin: 0 } h2 { font-size: 1.15rem; margin: 0; display: inline }
.subtitle, .count { color: var(--quiet) }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .15rem 1rem } dt { color: var(--quiet) } dd { margin: 0 }
fieldset { border: 1px solid var(--line); border-radius: .4rem; display: flex; flex-wrap: wrap; gap: .25rem 1rem }
.filters { display: none } .scripted .filters { display: grid; gap: .5rem; margin: 1rem 0 }
details { border: 1px solid var(--line); border-radius: .4rem; margin: .75rem 0; overflow-x: auto }
summary { cursor: pointer; padding: .5rem .75rem; background: var(--head) }
:focus-visible { outline: 3px solid var(--link); outline-offset: 2px }
table { border-collapse: collapse; width: 100% }
th, td { text-align: left; vertical-align: top; padding: .35rem .75rem; border-top: 1px solid var(--line) }
td.object, td.state { overflow-wrap: anywhere } td.state { font-family: ui-monospace, monospace; font-size: .9rem; width: 28% }
.mark { font-weight: 600; white-space: nowrap } .new { color: var(--new) } .gone { color: var(--gone) }
.changed { color: var(--changed) } .note { color: var(--quiet); font-size: .9rem }
tr[hidden], details[hidden] { display: none }
@media print { body { max-width: none; padding: 0 } .filters { display: none !important } details { break-inside: auto } }
)";

// Opens what is printed, and filters.
constexpr char kScript[] = R"(
document.documentElement.classList.add('scripted');
const boxes = [...document.querySelectorAll('.filters input')];
function apply() {
  const off = group => new Set(boxes.filter(b => b.name === group && !b.checked).map(b => b.value));
  const kinds = off('kind'), stages = off('stage');
  for (const row of document.querySelectorAll('tr[data-kind]')) row.hidden = kinds.has(row.dataset.kind);
  for (const part of document.querySelectorAll('details'))
    part.hidden = stages.has(part.dataset.stage) || !part.querySelector('tr[data-kind]:not([hidden])');
}
boxes.forEach(b => b.addEventListener('change', apply));
addEventListener('beforeprint', () => document.querySelectorAll('details').forEach(d => d.open = true));
)";

std::string Escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else if (c == '"') {
            result += "&quot;";
        } else {
            result += c;
        }
    }
    return result;
}

std::string Text(const Json& value) {
    if (value.is_null()) return "-";
    return Escaped(value.is_string() ? value.get<std::string>() : value.dump());
}

// A full name, which may be broken behind its backslashes.
std::string Name(const Json& name) {
    std::string text = Text(name);
    for (std::size_t at = text.find('\\'); at != text.npos; at = text.find('\\', at + 1)) text.insert(at + 1, "<wbr>");
    return text;
}

std::string State(const Json& change, const char* which) {
    const Json& state = change.at(which);
    std::string cell = "<td class=\"state\">" + (state.is_null() ? std::string("&mdash;") : Text(state));
    for (const Json& varies : change.value("varies", Json::array())) {
        if (varies == which) cell += "<br><span class=\"note\">differs by nature</span>";
    }
    return cell + "</td>";
}

std::string Mark(const Json& change) {
    const bool isNew = change.at("before").is_null(), isGone = change.at("after").is_null();
    if (change.at("kind") == "outside") return "<td class=\"mark\">by others</td>";
    const std::string word = change.contains("difference") ? change["difference"].get<std::string>()
                             : isNew                       ? "new"
                             : isGone                      ? "gone"
                                                           : "changed";
    return std::string("<td class=\"mark ") +
           (isNew    ? "new"
            : isGone ? "gone"
                     : "changed") +
           "\">" + Escaped(word) + "</td>";
}

std::string Row(const Json& change) {
    std::string row = "<tr data-kind=\"" + Text(change.at("kind")) + "\">" + Mark(change) + "<td>" +
                      Text(change.at("kind")) + "</td><td class=\"object\">" + Name(change.at("name"));
    if (!change.at("part").is_null()) row += "<br><strong>" + Text(change["part"]) + "</strong>";
    if (change.contains("reason")) row += "<br><span class=\"note\">" + Text(change["reason"]) + "</span>";
    return row + "</td>" + State(change, "before") + State(change, "after") + "</tr>\n";
}

std::string StageSection(const Report& report, const Json& stage) {
    const std::size_t count = stage.at("changes").size();
    std::string section = "<details open data-stage=\"" + Text(stage.at("stage")) + "\"><summary><h2>" +
                          Text(stage.at("stage")) + "</h2> <span class=\"count\">" + std::to_string(count) +
                          (count == 1 ? " change" : " changes") + "</span></summary>\n";
    if (count == 0) return section + "</details>\n";
    section += "<table><thead><tr><th scope=\"col\">What</th><th scope=\"col\">Kind</th><th scope=\"col\">Object</th>";
    section += std::string("<th scope=\"col\">") + report.before + "</th><th scope=\"col\">" + report.after +
               "</th></tr></thead>\n<tbody>\n";
    for (const Json& change : stage["changes"]) section += Row(change);
    return section + "</tbody></table></details>\n";
}

std::string Filter(const char* legend, const char* group, const std::vector<std::string>& values) {
    std::string filter = std::string("<fieldset><legend>") + legend + "</legend>\n";
    for (const std::string& value : values) {
        filter += std::string("<label><input type=\"checkbox\" checked name=\"") + group + "\" value=\"" +
                  Escaped(value) + "\"> " + Escaped(value) + "</label>\n";
    }
    return filter + "</fieldset>\n";
}

}  // namespace

std::string MakePage(const Report& report) {
    std::set<std::string> kinds;
    std::vector<std::string> stages;
    for (const Json& stage : report.stages) {
        stages.push_back(stage.at("stage").get<std::string>());
        for (const Json& change : stage.at("changes")) kinds.insert(change.at("kind").get<std::string>());
    }
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
        Escaped(report.title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n<header><h1>" +
        Escaped(report.title) + "</h1>\n<p class=\"subtitle\">" + Escaped(report.subtitle) +
        "</p></header>\n<main>\n<dl>\n";
    for (const auto& [label, value] : report.facts.items())
        page += "<dt>" + Escaped(label) + "</dt><dd>" + Text(value) + "</dd>\n";
    page += "</dl>\n<form class=\"filters\" aria-label=\"What is shown\">\n" + Filter("Stages", "stage", stages) +
            Filter("Kinds", "kind", {kinds.begin(), kinds.end()}) + "</form>\n";
    for (const Json& stage : report.stages) page += StageSection(report, stage);
    return page + "</main>\n<script>" + kScript + "</script>\n</body>\n</html>\n";
}
