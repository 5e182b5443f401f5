// A service's configuration through its handle.
#include <cstring>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/services/handles.h"
#include "platform/embedded/services/settings.h"

using namespace embedded;
using namespace embedded::services;
using control::CallKind;

namespace {

constexpr char kDescription[] = "Description";

BOOL Answer(DWORD error) {
    if (error != 0) SetLastError(error);
    return error == 0;
}

// Writes texts one after the other behind a record.
class TextTail {
  public:
    explicit TextTail(void* start) : m_next(static_cast<char*>(start)) {}
    char* Put(const std::string& text) {
        char* const place = m_next;
        std::memcpy(place, text.c_str(), text.size() + 1);
        m_next += text.size() + 1;
        return place;
    }

  private:
    char* m_next;
};

// Terminated texts; the list's own end is the terminator that follows.
std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) joined += text + '\0';
    return joined;
}

bool Fits(std::size_t size, DWORD bytes, LPDWORD needed) {
    if (needed != nullptr) *needed = DWORD(size);
    return size <= bytes || Answer(ERROR_INSUFFICIENT_BUFFER);
}

DWORD ChangeDescription(ServiceObject& object, const SERVICE_DESCRIPTIONA& info) {
    if (info.lpDescription == nullptr) return 0;
    Store& store = object.machine->Storage();
    const std::string key = KeyOf(object.name);
    if (*info.lpDescription != '\0') {
        return store.WriteText(key, kDescription, info.lpDescription) ? 0 : ERROR_ACCESS_DENIED;
    }
    store.Erase(key, kDescription);
    return 0;
}

}  // namespace

BOOL ChangeServiceConfigA(SC_HANDLE service, DWORD type, DWORD startType, DWORD errorControl, LPCSTR path, LPCSTR group,
                          LPDWORD tag, LPCSTR dependencies, LPCSTR account, LPCSTR password, LPCSTR displayName) {
    if (gate::Refuses(CallKind::Service, "ChangeServiceConfigA")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_CHANGE_CONFIG);
    if (object == nullptr) return FALSE;
    Machine& machine = *object->machine;
    const Store::Lock lock(machine.Storage());
    if (IsMarkedForDeletion(machine, object->name)) return Answer(ERROR_SERVICE_MARKED_FOR_DELETE);
    auto config = Load(machine, object->name);
    if (!config) return Answer(ERROR_SERVICE_DOES_NOT_EXIST);
    const Settings settings{type, startType,    errorControl, path,     group,
                            tag,  dependencies, account,      password, displayName};
    if (const DWORD error = Apply(machine, object->name, settings, *config)) return Answer(error);
    if (!Save(machine, object->name, *config)) return Answer(ERROR_ACCESS_DENIED);
    KeepLogon(machine, object->name, *config, settings);
    return TRUE;
}

BOOL ChangeServiceConfig2A(SC_HANDLE service, DWORD level, LPVOID info) {
    if (gate::Refuses(CallKind::Service, "ChangeServiceConfig2A")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_CHANGE_CONFIG);
    if (object == nullptr) return FALSE;
    if (level != SERVICE_CONFIG_DESCRIPTION) return Answer(ERROR_INVALID_LEVEL);
    if (IsMarkedForDeletion(*object->machine, object->name)) return Answer(ERROR_SERVICE_MARKED_FOR_DELETE);
    return info == nullptr || Answer(ChangeDescription(*object, *static_cast<SERVICE_DESCRIPTIONA*>(info)));
}

BOOL QueryServiceConfigA(SC_HANDLE service, LPQUERY_SERVICE_CONFIGA result, DWORD bytes, LPDWORD needed) {
    if (gate::Refuses(CallKind::Service, "QueryServiceConfigA")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_QUERY_CONFIG);
    if (object == nullptr) return FALSE;
    const auto config = Load(*object->machine, object->name);
    if (!config) return Answer(ERROR_SERVICE_DOES_NOT_EXIST);
    const std::string dependencies = Joined(config->dependencies);
    std::size_t size = sizeof *result;
    for (const auto* text : {&config->path, &config->group, &dependencies, &config->account, &config->displayName}) {
        size += text->size() + 1;
    }
    if (!Fits(size, bytes, needed)) return FALSE;
    TextTail tail(result + 1);
    *result = {config->type,           config->startType,         config->errorControl,
               tail.Put(config->path), tail.Put(config->group),   config->tag,
               tail.Put(dependencies), tail.Put(config->account), tail.Put(config->displayName)};
    return TRUE;
}

BOOL QueryServiceConfig2A(SC_HANDLE service, DWORD level, LPBYTE buffer, DWORD bytes, LPDWORD needed) {
    if (gate::Refuses(CallKind::Service, "QueryServiceConfig2A")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_QUERY_CONFIG);
    if (object == nullptr) return FALSE;
    if (level != SERVICE_CONFIG_DESCRIPTION) return Answer(ERROR_INVALID_LEVEL);
    const std::string text = object->machine->Storage().ReadText(KeyOf(object->name), kDescription);
    auto* const result = reinterpret_cast<LPSERVICE_DESCRIPTIONA>(buffer);
    if (!Fits(sizeof *result + (text.empty() ? 0 : text.size() + 1), bytes, needed)) return FALSE;
    result->lpDescription = text.empty() ? nullptr : TextTail(result + 1).Put(text);
    return TRUE;
}
