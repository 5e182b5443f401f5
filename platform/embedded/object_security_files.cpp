// Files and directories as secured objects.
#include "platform/embedded/object_security.h"

#include "platform/embedded/file_security.h"

namespace embedded::security {
namespace {

class FileSecuredObject : public SecuredObject {
  public:
    explicit FileSecuredObject(std::string path) : m_path(std::move(path)) {}

    DWORD Read(SECURITY_INFORMATION information, Bytes* descriptor) override {
        const files::FileSecurity file = files::DescriptorOf(m_path.c_str());
        if (file.error != 0) return file.error;
        const DWORD rights = access::RightsToRead(information);
        const DWORD error = rights == 0 ? 0 : access::Check(file.type, file.descriptor, rights, nullptr);
        if (error == 0) *descriptor = access::Extract(file.type, file.descriptor, information);
        return error;
    }

    DWORD Write(SECURITY_INFORMATION information, const Bytes& change) override {
        const files::FileSecurity file = files::DescriptorOf(m_path.c_str());
        if (file.error != 0) return file.error;
        const DWORD rights = access::RightsToWrite(information);
        if (rights == 0) return 0;
        if (const DWORD error = access::Check(file.type, file.descriptor, rights, nullptr)) return error;
        Bytes copy = change, changed;
        if (const DWORD error = access::Modify(file.type, file.descriptor, information, copy.data(), &changed)) return error;
        return files::SetDescriptor(m_path.c_str(), changed);
    }

    Bytes Parent() override {
        const std::size_t end = m_path.find_last_of("\\/");
        if (end == m_path.npos || end < 3) return {};
        const files::FileSecurity parent = files::DescriptorOf(m_path.substr(0, end).c_str());
        return parent.error == 0 ? parent.descriptor : Bytes();
    }

    // What is below without a descriptor of its own is computed from this one whenever it is looked at.
    void PassOn() override {}
    access::ObjectType Type() const override { return files::DescriptorOf(m_path.c_str()).type; }

  private:
    std::string m_path;
};

}  // namespace

std::unique_ptr<SecuredObject> MakeFileObject(const std::string& path) { return std::make_unique<FileSecuredObject>(path); }

std::unique_ptr<SecuredObject> MakeFileObject(HANDLE) { return nullptr; }

}  // namespace embedded::security
