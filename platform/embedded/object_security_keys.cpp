// Keys as secured objects.
#include "platform/embedded/object_security.h"

#include "platform/embedded/api/registry.h"
#include "platform/embedded/text.h"

namespace embedded::security {
namespace {

// A key handle that is closed at the end, when it is one's own.
class OwnKey {
  public:
    OwnKey() = default;
    OwnKey(const OwnKey&) = delete;
    OwnKey& operator=(const OwnKey&) = delete;
    ~OwnKey() {
        if (m_key != nullptr) RegCloseKey(m_key);
    }
    DWORD Open(HKEY above, const char* name, DWORD rights) { return DWORD(RegOpenKeyExA(above, name, 0, rights, &m_key)); }
    HKEY Get() const { return m_key; }

  private:
    HKEY m_key = nullptr;
};

DWORD ReadKey(HKEY key, SECURITY_INFORMATION information, Bytes* descriptor) {
    DWORD size = 0;
    LSTATUS status = RegGetKeySecurity(key, information, nullptr, &size);
    // Another process may change the descriptor between the two calls.
    for (int i = 0; i < 5 && status == ERROR_INSUFFICIENT_BUFFER; ++i) {
        descriptor->resize(size);
        status = RegGetKeySecurity(key, information, descriptor->data(), &size);
    }
    return DWORD(status);
}

std::vector<std::string> SubkeysOf(HKEY key) {
    std::vector<std::string> names;
    char name[256];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof name;
        if (RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) return names;
        names.emplace_back(name, length);
    }
}

constexpr SECURITY_INFORMATION kAllButSacl =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

void PassOnFrom(HKEY key) {
    Bytes above;
    if (ReadKey(key, kAllButSacl, &above) != 0) return;
    for (const std::string& name : SubkeysOf(key)) {
        OwnKey below;
        Bytes own;
        const DWORD rights = READ_CONTROL | WRITE_DAC | KEY_ENUMERATE_SUB_KEYS;
        if (below.Open(key, name.c_str(), rights) != 0 || ReadKey(below.Get(), kAllButSacl, &own) != 0) continue;
        std::optional<Bytes> changed = Reinherit(own, above, access::ObjectType::Key);
        if (!changed) continue;
        if (RegSetKeySecurity(below.Get(), DACL_SECURITY_INFORMATION, changed->data()) == 0) PassOnFrom(below.Get());
    }
}

class KeyObject : public SecuredObject {
  public:
    explicit KeyObject(HKEY key) : m_key(key) {}
    DWORD Read(SECURITY_INFORMATION information, Bytes* descriptor) override {
        return ReadKey(m_key, information, descriptor);
    }
    DWORD Write(SECURITY_INFORMATION information, const Bytes& change) override {
        Bytes copy = change;
        return DWORD(RegSetKeySecurity(m_key, information, copy.data()));
    }
    Bytes Parent() override { return {}; }
    void PassOn() override { PassOnFrom(m_key); }
    access::ObjectType Type() const override { return access::ObjectType::Key; }

  private:
    HKEY m_key;
};

class NamedKeyObject : public KeyObject {
  public:
    explicit NamedKeyObject(std::unique_ptr<OwnKey> key) : KeyObject(key->Get()), m_own(std::move(key)) {}

  private:
    std::unique_ptr<OwnKey> m_own;
};

HKEY RootOf(std::string_view name) {
    struct Root {
        const char* name;
        HKEY key;
    };
    const Root roots[] = {{"MACHINE", HKEY_LOCAL_MACHINE},
                          {"CURRENT_USER", HKEY_CURRENT_USER},
                          {"USERS", HKEY_USERS},
                          {"CLASSES_ROOT", HKEY_CLASSES_ROOT}};
    for (const Root& root : roots) {
        if (text::EqualNoCase(name, root.name)) return root.key;
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<SecuredObject> MakeKeyObject(HKEY key) { return std::make_unique<KeyObject>(key); }

std::unique_ptr<SecuredObject> OpenKeyObject(const char* name, SECURITY_INFORMATION information, bool forWriting, DWORD view,
                                             DWORD* error) {
    const std::string_view whole = name;
    const std::size_t end = std::min(whole.find('\\'), whole.size());
    const HKEY root = RootOf(whole.substr(0, end));
    *error = ERROR_INVALID_PARAMETER;
    if (root == nullptr) return nullptr;
    const DWORD rights = forWriting ? access::RightsToWrite(information) | READ_CONTROL | KEY_ENUMERATE_SUB_KEYS
                                    : access::RightsToRead(information);
    auto key = std::make_unique<OwnKey>();
    *error = key->Open(root, name + std::min(end + 1, whole.size()), rights | view);
    if (*error != 0) return nullptr;
    return std::make_unique<NamedKeyObject>(std::move(key));
}

}  // namespace embedded::security
