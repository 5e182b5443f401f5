// The static writers of settings values, the event source and the environment. Only these write.
#include "registry/family_keys.h"

using namespace registry;

namespace {

template <class Value>
int WriteBelow(const KeyPath& place, const char* name, Value value) {
    return Outcome(WriteValue(place.Text(), name, value));
}

constexpr char kUserEnvironment[] = "Environment";

}  // namespace

#define WRITES_TEXT(Operation, key, subkey, value) \
    int Operation(const char* text) { return WriteBelow({&key, subkey}, value, text); }
#define WRITES_NUMBER(Operation, key, subkey, value) \
    int Operation(DWORD number) { return WriteBelow({&key, subkey}, value, number); }
#define WRITES_FLAG(Operation, key, subkey, value) \
    int Operation(int flag) { return WriteBelow({&key, subkey}, value, DWORD(flag != 0)); }
#include "registry/settings_writers.def"
#undef WRITES_TEXT
#undef WRITES_NUMBER
#undef WRITES_FLAG

int CHalvRegistry::SetKorvaultDatabase(int flag) { return SetKorvaultDatabase(DWORD(flag != 0 ? 2 : 1)); }

int CHalvRegistry::SetEventLogApplication(const char* source, const char* messageFile, DWORD types) {
    if (source == nullptr || *source == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey key;
    if (!Outcome(Create(HKEY_LOCAL_MACHINE, m_sEventLogKey + "\\" + source, key))) return 0;
    const LSTATUS file = SetValue(key.Get(), m_sEventMessageFile, messageFile);
    const LSTATUS bits = SetValue(key.Get(), m_sTypesSupported, types);
    return Outcome(file != 0 ? file : bits);
}

int CHalvRegistry::SetEnvironmentVariableA(const char* name, const char* value) {
    return Outcome(WriteValue(m_sEnvironmentKey, name, value));
}

int CHalvRegistry::GetEnvironmentVariableA(const char* name, char* buffer, DWORD* size) {
    if (buffer == nullptr || size == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    if (*size != 0) buffer[0] = '\0';
    RegistryKey key;
    if (!Outcome(Open(HKEY_CURRENT_USER, kUserEnvironment, KEY_ALL_ACCESS, key))) return 0;
    return Outcome(ReadText(key.Get(), name, buffer, *size, size));
}

int CHalvRegistry::DeleteEnvironmentVariable(const char* name) {
    return Outcome(DeleteValue(HKEY_LOCAL_MACHINE, m_sEnvironmentKey, name));
}
