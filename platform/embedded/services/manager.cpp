// Opening, creating, deleting and closing.
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/security/access.h"
#include "platform/embedded/services/handles.h"
#include "platform/embedded/services/records.h"
#include "platform/embedded/services/settings.h"
#include "platform/embedded/services/state.h"

using namespace embedded;
using namespace embedded::services;
using control::CallKind;

namespace {

constexpr char kDeleteFlag[] = "DeleteFlag";

SC_HANDLE Fail(DWORD error) {
    SetLastError(error);
    return nullptr;
}

DWORD CheckDatabase(LPCSTR name) {
    if (name == nullptr || text::EqualNoCase(name, SERVICES_ACTIVE_DATABASEA)) return 0;
    return text::EqualNoCase(name, "ServicesFailed") ? ERROR_DATABASE_DOES_NOT_EXIST : ERROR_INVALID_NAME;
}

DWORD CheckName(LPCSTR name) {
    if (name == nullptr) return ERROR_INVALID_ADDRESS;
    return IsServiceName(name) ? 0 : ERROR_INVALID_NAME;
}

SC_HANDLE NewServiceHandle(const std::shared_ptr<Machine>& machine, std::string_view name, DWORD desired) {
    DWORD granted = 0;
    const DWORD error = access::Check(access::ObjectType::Service, {}, desired, &granted);
    if (error != 0) return Fail(error);
    auto hold = Hold::Take(*machine, PlaceOf(name), Sharing::Shared);
    if (hold == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    auto object = std::make_shared<ServiceObject>(machine, StoredName(*machine, name), granted, std::move(hold));
    return SC_HANDLE(handles::Add(std::move(object)));
}

template <class Object>
std::shared_ptr<Object> ObjectFor(SC_HANDLE handle, DWORD right) {
    auto object = handles::Find<Object>(handle);
    const bool allowed = object != nullptr && (object->granted & right) == right;
    if (!allowed) SetLastError(object == nullptr ? ERROR_INVALID_HANDLE : ERROR_ACCESS_DENIED);
    return allowed ? object : nullptr;
}

}  // namespace

namespace embedded::services {

ServiceObject::ServiceObject(std::shared_ptr<Machine> onMachine, std::string serviceName, DWORD rights,
                             std::unique_ptr<Hold> hold)
    : HandleObject(ResourceKind::Service),
      machine(std::move(onMachine)),
      name(std::move(serviceName)),
      granted(rights),
      m_hold(std::move(hold)) {}

ServiceObject::~ServiceObject() {
    m_hold.reset();
    RemoveIfAbandoned(*machine, name);
}

std::shared_ptr<ManagerObject> ManagerFor(SC_HANDLE handle, DWORD right) {
    return ObjectFor<ManagerObject>(handle, right);
}

std::shared_ptr<ServiceObject> ServiceFor(SC_HANDLE handle, DWORD right) {
    return ObjectFor<ServiceObject>(handle, right);
}

bool IsMarkedForDeletion(Machine& machine, std::string_view name) {
    return machine.Storage().ReadNumber(KeyOf(name), kDeleteFlag) != 0;
}

void RemoveIfAbandoned(Machine& machine, std::string_view name) {
    if (!IsMarkedForDeletion(machine, name)) return;
    const Store::Lock lock(machine.Storage());
    if (Hold::Exists(machine, PlaceOf(name)) || !IsStopped(StatusOf(machine, name))) return;
    machine.Storage().DeleteTree(KeyOf(name));
    Forget(machine, name);
}

}  // namespace embedded::services

SC_HANDLE OpenSCManagerA(LPCSTR machineName, LPCSTR database, DWORD desired) {
    if (gate::Refuses(CallKind::Service, "OpenSCManagerA")) return nullptr;
    if (const DWORD error = CheckDatabase(database)) return Fail(error);
    auto machine = world::Find(machineName);
    if (machine == nullptr) return Fail(RPC_S_SERVER_UNAVAILABLE);
    DWORD granted = 0;
    // Whoever opens the manager may connect to it, asked for or not.
    const DWORD error = access::Check(access::ObjectType::ServiceManager, {}, desired | SC_MANAGER_CONNECT, &granted);
    if (error != 0) return Fail(error);
    return SC_HANDLE(handles::Add(std::make_shared<ManagerObject>(std::move(machine), granted)));
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD desired) {
    if (gate::Refuses(CallKind::Service, "OpenServiceA")) return nullptr;
    const auto object = ManagerFor(manager, SC_MANAGER_CONNECT);
    if (object == nullptr) return nullptr;
    if (const DWORD error = CheckName(name)) return Fail(error);
    Machine& machine = *object->machine;
    const Store::Lock lock(machine.Storage());
    RemoveIfAbandoned(machine, name);
    if (!Load(machine, name)) return Fail(ERROR_SERVICE_DOES_NOT_EXIST);
    return NewServiceHandle(object->machine, name, desired);
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD desired, DWORD type, DWORD startType,
                         DWORD errorControl, LPCSTR path, LPCSTR group, LPDWORD tag, LPCSTR dependencies,
                         LPCSTR account, LPCSTR password) {
    if (gate::Refuses(CallKind::Service, "CreateServiceA")) return nullptr;
    const auto object = ManagerFor(manager, SC_MANAGER_CREATE_SERVICE);
    if (object == nullptr) return nullptr;
    if (const DWORD error = CheckName(name)) return Fail(error);
    if (path == nullptr) return Fail(ERROR_INVALID_ADDRESS);
    Machine& machine = *object->machine;
    const Store::Lock lock(machine.Storage());
    RemoveIfAbandoned(machine, name);
    if (IsMarkedForDeletion(machine, name)) return Fail(ERROR_SERVICE_MARKED_FOR_DELETE);
    if (Load(machine, name)) return Fail(ERROR_SERVICE_EXISTS);
    const Settings settings{type, startType,    errorControl, path,     group,
                            tag,  dependencies, account,      password, displayName == nullptr ? name : displayName};
    Config config;
    if (const DWORD error = Apply(machine, name, settings, config)) return Fail(error);
    if (!Save(machine, name, config)) return Fail(ERROR_ACCESS_DENIED);
    KeepLogon(machine, name, config, settings);
    return NewServiceHandle(object->machine, name, desired);
}

BOOL DeleteService(SC_HANDLE service) {
    if (gate::Refuses(CallKind::Service, "DeleteService")) return FALSE;
    const auto object = ServiceFor(service, DELETE);
    if (object == nullptr) return FALSE;
    Machine& machine = *object->machine;
    const Store::Lock lock(machine.Storage());
    if (IsMarkedForDeletion(machine, object->name)) {
        SetLastError(ERROR_SERVICE_MARKED_FOR_DELETE);
        return FALSE;
    }
    return machine.Storage().WriteNumber(KeyOf(object->name), kDeleteFlag, 1);
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
    const bool closed =
        handles::Close(handle, ResourceKind::Service) || handles::Close(handle, ResourceKind::ServiceManager);
    if (!closed) SetLastError(ERROR_INVALID_HANDLE);
    return closed && !gate::Refuses(CallKind::Service, "CloseServiceHandle");
}
