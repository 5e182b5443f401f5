// A service opened by name on the local machine, with the manager handle that it was opened through.
#ifndef INSTALIB_SYSTEM_SERVICE_HANDLES_H
#define INSTALIB_SYSTEM_SERVICE_HANDLES_H

#include "changes/changing.h"
#include "platform/handles.h"

inline ServiceHandle OpenManager(DWORD access) { return ServiceHandle(OpenSCManagerA(nullptr, nullptr, access)); }

// Either handle may be null; the last error then tells why.
struct OpenedService {
    OpenedService(const char* name, DWORD access, DWORD managerAccess = SC_MANAGER_ALL_ACCESS)
        : manager(OpenManager(managerAccess)) {
        if (manager) service.Reset(changing::OpenServiceA(manager.Get(), name, access));
    }

    ServiceHandle manager;
    ServiceHandle service;
};

#endif
