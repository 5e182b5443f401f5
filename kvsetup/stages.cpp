#include "kvsetup/stages.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "kvsetup/host.h"
#include "kvsetup/interruption.h"
#include "kvsetup/recorded_run.h"
#include "kvsetup/watch.h"

namespace {

std::string Outcome(bool succeeded, DWORD error, const std::string& note) {
    const std::string text = succeeded ? "done" : "failed: " + host::ErrorText(error);
    return note.empty() ? text : text + " (" + note + ")";
}

void Print(const Session& session, std::size_t number, std::size_t count, const char* title,
           const std::string& outcome) {
    if (!session.prints) return;
    std::string line = number < 10 && count >= 10 ? "[ " : "[";
    line += std::to_string(number) + '/' + std::to_string(count) + "] " + title + ' ';
    if (line.size() < 56) line.resize(56, '.');
    std::cout << line << ' ' << console::Printable(outcome) << std::endl;
}

// A line of its own for each, as it happens; the output is left to the command's own data.
void PrintProgress(const Session& session, const Json& line) {
    if (session.progressJson) std::cerr << line.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

// What the stage has changed, from the record's `first` change on.
void PrintChanges(const StageContext& context, int first) {
    if (!context.session.verbose || context.record == nullptr) return;
    tagSETUP_CHANGE change;
    for (int i = first; i < context.record->Count(); ++i) {
        if (context.record->Get(i, change)) std::cout << "    " << console::Printable(ChangeText(change)) << '\n';
    }
    std::cout << std::flush;
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
        PrintProgress(context.session, {{"stage", chosen[i]->title}, {"number", i + 1}, {"of", chosen.size()}});
        const int changesBefore = context.record == nullptr ? 0 : context.record->Count();
        std::string note = before ? "by the run before" : "";
        const auto begun = std::chrono::steady_clock::now();
        host::SetLastError(0);
        const bool marked = before || context.record == nullptr || context.record->Mark(chosen[i]->title);
        const bool succeeded = before || (marked && chosen[i]->run(context, note));
        const DWORD error = host::LastError();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begun;
        const std::string outcome = Outcome(succeeded, error, note);
        const std::string line = std::string(chosen[i]->title) + ": " + outcome;
        char duration[32];
        std::snprintf(duration, sizeof duration, " (%.3f s)", seconds.count());
        context.session.Log((succeeded ? "" : "Error: ") + line + duration);
        if (context.session.watch != nullptr) context.session.watch->StageEnded(succeeded, error, line);
        Print(context.session, i + 1, chosen.size(), chosen[i]->title, outcome);
        PrintChanges(context, changesBefore);
        Json entry{{"stage", chosen[i]->title},
                   {"succeeded", succeeded},
                   {"seconds", std::round(seconds.count() * 1000) / 1000}};
        if (!succeeded) entry["error"] = error;
        if (!note.empty()) entry["note"] = note;
        PrintProgress(context.session, entry);
        report.push_back(entry);
        allSucceeded = allSucceeded && succeeded;
        if (!succeeded && !keepGoing) break;
    }
    return allSucceeded;
}
