// Scripts of services, kept as plain numbers: the fields of both transitions, then their steps.
#include <cstring>

#include "platform/embedded/services/records.h"
#include "platform/embedded/services/state.h"

namespace embedded {
namespace services {
namespace {

using control::PendingStep;
using control::ServiceScript;
using control::TransitionScript;

std::string ScriptKey(std::string_view name) { return "META\\ServiceScripts\\" + std::string(name); }

class Writer {
  public:
    void Put(DWORD number) {
        m_bytes.resize(m_bytes.size() + sizeof number);
        std::memcpy(&m_bytes[m_bytes.size() - sizeof number], &number, sizeof number);
    }
    void Put(const TransitionScript& script) {
        Put(script.error);
        Put(script.hangs);
        Put(script.exitCode);
        Put(DWORD(script.steps.size()));
        for (const PendingStep& step : script.steps) {
            Put(step.checkPoint);
            Put(step.waitHint);
            Put(step.milliseconds);
        }
    }
    const Bytes& Get() const { return m_bytes; }

  private:
    Bytes m_bytes;
};

// Answers zeros beyond the end, so that a cut record is a harmless one.
class Reader {
  public:
    explicit Reader(const Bytes& bytes) : m_bytes(bytes) {}
    DWORD Take() {
        DWORD number = 0;
        if (m_bytes.size() - m_position < sizeof number) return 0;
        std::memcpy(&number, m_bytes.data() + m_position, sizeof number);
        m_position += sizeof number;
        return number;
    }
    TransitionScript TakeTransition() {
        TransitionScript script;
        script.error = Take();
        script.hangs = Take() != 0;
        script.exitCode = Take();
        for (DWORD left = Take(); left != 0 && m_position < m_bytes.size(); --left) {
            PendingStep step;
            step.checkPoint = Take();
            step.waitHint = Take();
            step.milliseconds = Take();
            script.steps.push_back(step);
        }
        return script;
    }

  private:
    const Bytes& m_bytes;
    std::size_t m_position = 0;
};

}  // namespace

ServiceScript ScriptOf(Machine& machine, std::string_view name) {
    ServiceScript script;
    const auto stored = machine.Storage().Read(ScriptKey(name), "Script");
    if (!stored) return script;
    Reader reader(stored->data);
    script.start = reader.TakeTransition();
    script.stop = reader.TakeTransition();
    script.interrogateError = reader.Take();
    script.controlsAccepted = reader.Take();
    return script;
}

}  // namespace services

namespace control {

void ScriptService(const std::string& name, const ServiceScript& script) {
    const auto machine = world::Local();
    services::Settle(*machine, name);
    services::Writer writer;
    writer.Put(script.start);
    writer.Put(script.stop);
    writer.Put(script.interrogateError);
    writer.Put(script.controlsAccepted);
    machine->Storage().Write(services::ScriptKey(name), "Script", 3 /* REG_BINARY */, writer.Get());
}

DWORD ServiceState(const std::string& name) {
    const auto machine = world::Local();
    return services::Load(*machine, name) ? services::StatusOf(*machine, name).dwCurrentState : 0;
}

}  // namespace control
}  // namespace embedded
