// Services: configuration, description, and whether they run.
#include <vector>

#include "changes/bytes.h"
#include "changes/objects.h"
#include "platform/handles.h"

namespace changes {
namespace {

constexpr int kPatience = 30;  // seconds that a service may take to start or stop when a change is taken back

struct Opened {
    ServiceHandle manager;
    ServiceHandle service;
    DWORD error = 0;

    Opened(const std::string& name, DWORD rights) {
        manager.Reset(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
        if (manager) service.Reset(OpenServiceA(manager.Get(), name.c_str(), rights));
        if (!service) error = GetLastError();
    }
    bool IsMissing() const { return error == ERROR_SERVICE_DOES_NOT_EXIST; }
};

// Calls query(buffer, bytes, &needed) with a buffer that is large enough.
template <class Query>
DWORD WithBuffer(std::vector<DWORD>& buffer, Query query) {
    buffer.assign(64, 0);
    for (;;) {
        const DWORD size = DWORD(buffer.size() * sizeof(DWORD));
        DWORD needed = 0;
        if (query(reinterpret_cast<BYTE*>(buffer.data()), size, &needed)) return 0;
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || needed <= size) return error;
        buffer.assign(needed / sizeof(DWORD) + 1, 0);
    }
}

std::string OrEmpty(const char* text) { return text == nullptr ? "" : text; }

std::string WholeList(const char* list) {
    if (list == nullptr) return {};
    const char* end = list;
    while (*end != '\0') end += std::string_view(end).size() + 1;
    return {list, end};
}

// A service that was deleted while somebody has it open can be read until that handle closes. A change of nothing
// tells.
bool IsGoing(const std::string& name) {
    const Opened opened(name, SERVICE_CHANGE_CONFIG);
    return opened.service &&
           !::ChangeServiceConfigA(opened.service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) &&
           GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
}

DWORD ReadService(const Object& object, State& state) {
    state.clear();
    const Opened opened(object.name, SERVICE_QUERY_CONFIG);
    if (!opened.service) return opened.IsMissing() ? 0 : opened.error;
    if (IsGoing(object.name)) return 0;
    std::vector<DWORD> buffer, described;
    if (const DWORD error = WithBuffer(buffer, [&](BYTE* bytes, DWORD size, DWORD* needed) {
            return QueryServiceConfigA(opened.service.Get(), reinterpret_cast<LPQUERY_SERVICE_CONFIGA>(bytes), size,
                                       needed);
        })) {
        return error;
    }
    const auto& config = *reinterpret_cast<const QUERY_SERVICE_CONFIGA*>(buffer.data());
    const DWORD error = WithBuffer(described, [&](BYTE* bytes, DWORD size, DWORD* needed) {
        return QueryServiceConfig2A(opened.service.Get(), SERVICE_CONFIG_DESCRIPTION, bytes, size, needed);
    });
    if (error != 0 && error != ERROR_FILE_NOT_FOUND) return error;
    const auto* const description = reinterpret_cast<const SERVICE_DESCRIPTIONA*>(described.data());
    state = Writer()
                .Number(config.dwServiceType)
                .Number(config.dwStartType)
                .Number(config.dwErrorControl)
                .Text(OrEmpty(config.lpBinaryPathName))
                .Text(OrEmpty(config.lpLoadOrderGroup))
                .Number(config.dwTagId)
                .Text(WholeList(config.lpDependencies))
                .Text(OrEmpty(config.lpServiceStartName))
                .Text(OrEmpty(config.lpDisplayName))
                .Text(error == 0 ? OrEmpty(description->lpDescription) : "")
                .Bytes();
    return 0;
}

struct Wanted {
    DWORD type, start, control;
    std::string path, group;
    DWORD tag;
    std::string dependencies, account, display, description;

    explicit Wanted(const State& state) {
        Reader reader(state);
        type = reader.Number();
        start = reader.Number();
        control = reader.Number();
        path = reader.Text();
        group = reader.Text();
        tag = reader.Number();
        dependencies = reader.Text() + '\0';
        account = reader.Text();
        display = reader.Text();
        description = reader.Text();
    }
    const char* Account() const { return account.empty() ? nullptr : account.c_str(); }
};

// A service that logs on as a user gets no password back: Windows tells it to nobody.
DWORD WriteService(const Object& object, const State& now, const State& state) {
    ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (!manager) return GetLastError();
    ServiceHandle service;
    const Wanted wanted(state);
    if (now.empty()) {
        service.Reset(::CreateServiceA(manager.Get(), object.name.c_str(), wanted.display.c_str(), SERVICE_ALL_ACCESS,
                                       wanted.type, wanted.start, wanted.control, wanted.path.c_str(),
                                       wanted.group.empty() ? nullptr : wanted.group.c_str(), nullptr,
                                       wanted.dependencies.c_str(), wanted.Account(), nullptr));
        if (!service) return GetLastError();
    } else {
        service.Reset(OpenServiceA(manager.Get(), object.name.c_str(), SERVICE_ALL_ACCESS));
        if (!service) return GetLastError();
        if (state.empty()) return ::DeleteService(service.Get()) ? 0 : GetLastError();
        if (!::ChangeServiceConfigA(service.Get(), wanted.type, wanted.start, wanted.control, wanted.path.c_str(),
                                    wanted.group.c_str(), nullptr, wanted.dependencies.c_str(), wanted.Account(),
                                    nullptr, wanted.display.c_str())) {
            return GetLastError();
        }
    }
    const Wanted before(now);
    if (before.description == wanted.description) return 0;
    std::string text = wanted.description;
    SERVICE_DESCRIPTIONA description{text.data()};
    return ::ChangeServiceConfig2A(service.Get(), SERVICE_CONFIG_DESCRIPTION, &description) ? 0 : GetLastError();
}

constexpr char kRunning[] = "running";
constexpr char kStopped[] = "stopped";

DWORD ReadServiceState(const Object& object, State& state) {
    state.clear();
    const Opened opened(object.name, SERVICE_QUERY_STATUS);
    if (!opened.service) return opened.IsMissing() ? 0 : opened.error;
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(opened.service.Get(), &status)) return GetLastError();
    const bool stopped = status.dwCurrentState == SERVICE_STOPPED || status.dwCurrentState == SERVICE_STOP_PENDING;
    state = stopped ? kStopped : kRunning;
    return 0;
}

DWORD WriteServiceState(const Object& object, const State& now, const State& wanted) {
    if (now.empty() || wanted.empty()) return 0;  // it goes and comes with its service
    const Opened opened(object.name, SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS);
    if (!opened.service) return opened.error;
    SERVICE_STATUS status{};
    const bool start = wanted == kRunning;
    const BOOL asked = start ? ::StartServiceA(opened.service.Get(), 0, nullptr)
                             : ::ControlService(opened.service.Get(), SERVICE_CONTROL_STOP, &status);
    if (!asked) return GetLastError();
    const DWORD end = start ? SERVICE_RUNNING : SERVICE_STOPPED;
    for (int second = 0; second < kPatience; ++second) {
        if (!QueryServiceStatus(opened.service.Get(), &status)) return GetLastError();
        if (status.dwCurrentState == end) return 0;
        Sleep(1000);
    }
    return ERROR_SERVICE_REQUEST_TIMEOUT;
}

}  // namespace

const KindRow kServiceRow = {"service", ReadService, WriteService, SameState, true, nullptr};
const KindRow kServiceStateRow = {"service state", ReadServiceState, WriteServiceState, SameState, true, nullptr};

}  // namespace changes
