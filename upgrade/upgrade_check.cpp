// The exported question, and its answer in words.
#include "foundation/upgrade_log.h"
#include "instalib/upgrade.h"
#include "upgrade/decision.h"
#include "upgrade/rule_text.h"

using namespace upgrade;

namespace {

CString TracedInformationFile(const char* directory) {
    WriteUpgradeLog("GetInfFileName() - Start ");
    const CString file = InformationFile(directory);
    WriteUpgradeLog("GetInfFileName() - End - Return %s", static_cast<const char*>(file));
    WriteUpgradeLog("szSetupInf is %s", static_cast<const char*>(file));
    return file;
}

bool IsOutsideVersions(const CProduct& old, const CProduct& fresh) {
    return fresh.getVersionNo() > old.getVersionNo() && !old.getVersionRange().IsEmpty() &&
           (old.getVersionNo() < old.getMinVersionNo() || old.getVersionNo() > old.getMaxVersionNo());
}

// Why the installed product may not be replaced although a rule, or those for remote agents, cover it.
CString Refusal(const Decision& decision) {
    const CProduct& old = decision.old;
    const CProduct& fresh = decision.fresh;
    if (fresh.getVersionNo() < old.getVersionNo()) return "the installed version is newer than the new one";
    if (!decision.isRemoteAgent && IsOutsideVersions(old, fresh)) {
        CString reason;
        reason.Format("the installed version lies outside VersionRange%02d, %s", decision.rule,
                      static_cast<const char*>(old.getVersionRange()));
        return reason;
    }
    if (fresh.getBuildNo() <= old.getBuildNo()) return "the new build number is not greater than the installed one";
    if (decision.isRemoteAgent) {
        return "the installed version or build lies outside 64VersionRange and 64BuildRange of section Upgrade";
    }
    CString reason;
    reason.Format("the installed build lies outside BuildRange%02d, %s", decision.rule,
                  static_cast<const char*>(old.getBuildRange()));
    return reason;
}

CString ReasonOf(const Decision& decision) {
    switch (decision.result) {
        case kNotInstalled:
            return "the product is not registered on the machine";
        case kNotRegistered:
            return "the product's registration vanished from the machine meanwhile";
        case kSameBuild:
            return "exactly this version and build is installed";
        default:
            break;
    }
    if (decision.rule == 0 && !decision.isRemoteAgent) {
        return "no rule of section Upgrade covers the installed product";
    }
    if (decision.result == kNotAllowed) return Refusal(decision);
    if (decision.isRemoteAgent) return "the installed version and build lie in 64VersionRange and 64BuildRange";
    CString reason;
    reason.Format("rule %02d of section Upgrade covers the installed product and allows its version and build",
                  decision.rule);
    return reason;
}

}  // namespace

int KSetIsAllowUpgrade(const char* directory, const char* descriptor, DWORD* versionAndBuild, const char* machine) {
    WriteUpgradeLog("KSetIsAllowUpgrade() - Start");
    const CString file = TracedInformationFile(directory);
    const Decision decision = KsetIsAllowUpgrade(file, descriptor, machine);
    if (decision.result != kNotInstalled && versionAndBuild != nullptr) {
        *versionAndBuild = DWORD(decision.old.getBuildNo()) << 16 | decision.old.getVersionNo();
    }
    WriteUpgradeLog("KSetIsAllowUpgrade() - End - Return %d,", decision.result);
    return decision.result;
}

CUpgradeCheck::CUpgradeCheck(const char* directory, const char* descriptor, const char* machine) {
    const Decision decision = KsetIsAllowUpgrade(InformationFile(directory), descriptor, machine);
    m_nResult = decision.result;
    m_nRule = decision.rule;
    m_sReason = ReasonOf(decision);
    m_Old = decision.old;
    m_New = decision.fresh;
}

CUpgradeCheck::CUpgradeCheck(const CUpgradeCheck& other) = default;
CUpgradeCheck& CUpgradeCheck::operator=(const CUpgradeCheck& other) = default;
CUpgradeCheck::~CUpgradeCheck() = default;

int CUpgradeCheck::GetResult() const { return m_nResult; }
int CUpgradeCheck::GetRule() const { return m_nRule; }
const char* CUpgradeCheck::GetReason() const { return m_sReason; }
CProduct& CUpgradeCheck::GetOld() { return m_Old; }
CProduct& CUpgradeCheck::GetNew() { return m_New; }
