#include "kvsetup/stages.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>

#include "kvsetup/host.h"
#include "kvsetup/interruption.h"
#include "kvsetup/watch.h"

namespace {

std::string Outcome(bool succeeded, DWORD error, const std::string& note) {
    const std::string text = succeeded ? "done" : "failed: " + host::ErrorText(error);
    return note.empty() ? text : text + " (" + note + ")";
}

void Print(const Session& session, std::size_t number, std::size_t count, const char* title,
           const std::string& outcome) {
    if (session.json) return;
    std::string line = number < 10 && count >= 10 ? "[ " : "[";
    line += std::to_string(number) + '/' + std::to_string(count) + "] " + title + ' ';
    if (line.size() < 56) line.resize(56, '.');
    std::cout << line << ' ' << console::Printable(outcome) << std::endl;
}

}  // namespace

bool RunStages(const std::vector<Stage>& stages, StageContext& context, bool keepGoing, Json& report) {
    std::vector<const Stage*> chosen;
    for (const Stage& stage : stages) {
        if (stage.applies(context)) chosen.push_back(&stage);
    }
    bool allSucceeded = true;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        if (interruption::Requested()) {
            context.cancelled = true;
            return false;
        }
        const bool before =
            std::find(context.finished.begin(), context.finished.end(), chosen[i]->title) != context.finished.end();
        if (context.session.watch != nullptr) context.session.watch->StageBegins(i + 1, chosen[i]->title);
        std::string note = before ? "by the run before" : "";
        const auto begun = std::chrono::steady_clock::now();
        host::SetLastError(0);
        const bool marked = before || context.record == nullptr || context.record->Mark(chosen[i]->title);
        const bool succeeded = before || (marked && chosen[i]->run(context, note));
        const DWORD error = host::LastError();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begun;
        const std::string outcome = Outcome(succeeded, error, note);
        const std::string line = std::string(chosen[i]->title) + ": " + outcome;
        context.session.Log(line);
        if (context.session.watch != nullptr) context.session.watch->StageEnded(succeeded, error, line);
        Print(context.session, i + 1, chosen.size(), chosen[i]->title, outcome);
        Json entry{{"stage", chosen[i]->title},
                   {"succeeded", succeeded},
                   {"seconds", std::round(seconds.count() * 1000) / 1000}};
        if (!succeeded) entry["error"] = error;
        if (!note.empty()) entry["note"] = note;
        report.push_back(entry);
        allSucceeded = allSucceeded && succeeded;
        if (!succeeded && !keepGoing) break;
    }
    return allSucceeded;
}
