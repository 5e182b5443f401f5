// The service control manager with a hundred and with a thousand services.
#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"

namespace bench {
namespace {

constexpr int kCalls = 30;

SC_HANDLE Create(SC_HANDLE manager, const std::string& name) {
    return CreateServiceA(manager, name.c_str(), ("Display " + name).c_str(), SERVICE_ALL_ACCESS,
                          SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "C:\\SERVICE.EXE",
                          nullptr, nullptr, nullptr, nullptr, nullptr);
}

class Services {
  public:
    Services(const std::string& machine, int count) : m_machine(machine) {
        m_manager = ServiceHandle(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        for (int i = 0; i < count; ++i) {
            const ServiceHandle service(Create(m_manager.Get(), "Bench" + std::to_string(i)));
            Expect(bool(service), "no service made");
        }
    }

    double CreateCost() {
        const double spent = Spent(kCalls, [&] {
            for (int i = 0; i < kCalls; ++i) {
                const ServiceHandle service(Create(m_manager.Get(), "New" + std::to_string(i)));
                Expect(bool(service), "no service made");
            }
        });
        for (int i = 0; i < kCalls; ++i) DeleteService(Opened("New" + std::to_string(i)).Get());
        return spent;
    }
    double QueryCost() {
        return Spent(kCalls, [&] {
            for (int i = 0; i < kCalls; ++i) {
                SERVICE_STATUS status;
                QueryServiceStatus(Opened("Bench" + std::to_string(i)).Get(), &status);
            }
        });
    }
    double StopCost() {
        for (int i = 0; i < kCalls; ++i) StartServiceA(Opened("Bench" + std::to_string(i)).Get(), 0, nullptr);
        return Spent(kCalls, [&] {
            for (int i = 0; i < kCalls; ++i) {
                SERVICE_STATUS status;
                const bool stopped =
                    ControlService(Opened("Bench" + std::to_string(i)).Get(), SERVICE_CONTROL_STOP, &status);
                Expect(stopped, "a service does not stop");
            }
        });
    }

  private:
    ServiceHandle Opened(const std::string& name) {
        return ServiceHandle(OpenServiceA(m_manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
    }
    BenchMachine m_machine;
    ServiceHandle m_manager;
};

}  // namespace

void ServiceRows(Runner& runner) {
    if (!runner.Wants("a service among 1,000, create") && !runner.Wants("a service among 1,000, query") &&
        !runner.Wants("a service among 1,000, stop")) {
        return;
    }
    Services few("SERVICES100", 100), many("SERVICES1000", 1000);
    runner.Compare(
        "a service among 1,000, create", "among 100", 1.3, [&] { return many.CreateCost(); },
        [&] { return few.CreateCost(); });
    runner.Compare(
        "a service among 1,000, query", "among 100", 1.3, [&] { return many.QueryCost(); },
        [&] { return few.QueryCost(); });
    runner.Compare(
        "a service among 1,000, stop", "among 100", 1.3, [&] { return many.StopCost(); },
        [&] { return few.StopCost(); });
}

}  // namespace bench
