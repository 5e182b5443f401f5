#include "platform/embedded/files/state.h"

#include <cstdlib>
#include <mutex>

#include "platform/embedded/files/path_text.h"

namespace embedded::files {
namespace {

constexpr char16_t kInitial[] = u"C:\\";

struct State {
    std::mutex mutex;
    std::u16string directory;  // empty: nothing asked for it yet
};

State& TheState() {
    static State* const state = new State;
    return *state;
}

std::u16string Inherited() {
    const char* const given = std::getenv("INSTALIB_DIRECTORY");
    const std::optional<std::u16string> directory = given == nullptr ? std::nullopt : paths::FromHost(given);
    // What another program wrote there is no better than any input: it is made absolute before it is believed.
    std::u16string absolute = paths::Absolute(directory.value_or(u""), kInitial);
    if (!paths::Parse(absolute)) return kInitial;
    if (!absolute.ends_with(u'\\')) absolute += u'\\';
    return absolute;
}

}  // namespace

void ResetForMachine() { SetCurrentDirectory(kInitial); }

std::u16string CurrentDirectory() {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    if (state.directory.empty()) state.directory = Inherited();
    return state.directory;
}

void SetCurrentDirectory(const std::u16string& directory) {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.directory = directory;
}

}  // namespace embedded::files
