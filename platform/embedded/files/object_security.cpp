// Files and directories as secured objects.
#include "platform/embedded/security/object_security.h"

#include "platform/embedded/files/disk.h"
#include "platform/embedded/files/record.h"

namespace fs = std::filesystem;

namespace embedded::security {
namespace {

class FileSecuredObject : public SecuredObject {
  public:
    explicit FileSecuredObject(files::Place place) : m_place(std::move(place)) {}

    DWORD Read(SECURITY_INFORMATION information, Bytes* descriptor) override {
        if (const DWORD error = m_place.Missing()) return error;
        const DWORD rights = access::RightsToRead(information);
        const DWORD error = rights == 0 ? 0 : files::CheckRights(m_place, rights);
        if (error == 0) *descriptor = access::Extract(Type(), files::EffectiveDescriptor(m_place), information);
        return error;
    }

    DWORD Write(SECURITY_INFORMATION information, const Bytes& wanted) override {
        if (const DWORD error = m_place.Missing()) return error;
        const DWORD rights = access::RightsToWrite(information);
        if (const DWORD error = rights == 0 ? 0 : files::CheckRights(m_place, rights)) return error;
        Bytes copy = wanted, changed;
        const Bytes before = files::EffectiveDescriptor(m_place);
        if (const DWORD error = access::Modify(Type(), before, information, copy.data(), &changed)) return error;
        if (m_keepsBelow) KeepBelow(before, changed);
        return Put(m_place, changed);
    }

    Bytes Parent() override {
        if (m_place.Missing() != 0 || m_place.IsRoot()) return {};
        const Bytes parent = files::EffectiveDescriptor(files::ParentOf(m_place));
        return parent.empty() ? access::Default(access::ObjectType::Directory) : parent;
    }

    access::ObjectType Type() const override { return files::TypeOf(m_place); }

    // From now on Write leaves everything below a directory as it is.
    void LeaveBelowAlone(std::u16string absolute) {
        m_keepsBelow = true;
        m_absolute = std::move(absolute);
    }

  private:
    static DWORD Put(const files::Place& place, const Bytes& descriptor) {
        Store& store = place.machine->Storage();
        return store.CreateKey(place.Key()) && store.SetSecurity(place.Key(), descriptor) ? 0 : ERROR_WRITE_PROTECT;
    }

    // What has no descriptor of its own would follow the directory's new one: it keeps the one that it had through it.
    void KeepBelow(const Bytes& before, const Bytes& after) {
        const auto passesOnTheSame = [&](access::ObjectType type) {
            return access::Inherit(before, type) == access::Inherit(after, type);
        };
        const bool same = passesOnTheSame(access::ObjectType::File) && passesOnTheSame(access::ObjectType::Directory);
        if (!m_place.IsDirectory() || same) return;
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_place.host, error)) {
            const files::Place below = files::Locate(m_absolute + u'\\' + entry.path().filename().u16string());
            if (below.Missing() != 0 || !below.machine->Storage().Security(below.Key()).empty()) continue;
            Put(below, access::Inherit(before, files::TypeOf(below)));
        }
    }

    files::Place m_place;
    bool m_keepsBelow = false;
    std::u16string m_absolute;
};

}  // namespace

std::unique_ptr<SecuredObject> MakeFileObject(const char* path, bool leaveBelowAlone) {
    const std::u16string absolute = files::AbsoluteName(path);
    auto object = std::make_unique<FileSecuredObject>(files::Locate(absolute));
    if (leaveBelowAlone) object->LeaveBelowAlone(absolute);
    return object;
}

std::unique_ptr<SecuredObject> MakeFileObject(HANDLE handle) {
    const auto file = handles::Find<files::DiskFile>(handle);
    return file ? std::make_unique<FileSecuredObject>(file->Where()) : nullptr;
}

}  // namespace embedded::security
