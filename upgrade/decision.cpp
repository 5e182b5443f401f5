#include "upgrade/decision.h"

#include "foundation/text.h"
#include "foundation/upgrade_log.h"
#include "machine/platform_probes.h"
#include "registry/registry_access.h"
#include "upgrade/rule_text.h"

namespace upgrade {
namespace {

const char* Text(const CString& text) { return text; }
const char* TrueOrFalse(bool value) { return value ? "TRUE" : "FALSE"; }

template <class Number>
bool IsWithin(Number value, Number lower, Number upper) {
    return lower <= value && value <= upper;
}

// Zeros when the record cannot be read.
tagProductStruct InstalledRecord(Target& target, const CString& descriptor) {
    tagProductStruct record{};
    target.registry.GetProductInfo(descriptor, &record, nullptr);
    return record;
}

void SetInstalled(CProduct& product, const tagProductStruct& record) {
    product.setBuildNo(record.wBuild);
    product.setVersionNo(record.wVersion);
}

CString SubTypeText(const tagProductStruct& record) {
    CString text;
    text.Format("%d", int(record.cSubType));
    return text;
}

void SetText(CProduct& product, void (CProduct::*set)(char*), const CString& text) {
    CString copy(text);
    (product.*set)(copy.GetBuffer(copy.GetLength()));
}

void SetFound(CProduct& product, const tagProductStruct& record, const CString& descriptor) {
    SetInstalled(product, record);
    SetText(product, &CProduct::setProductSubType, SubTypeText(record));
    SetText(product, &CProduct::setProductDescriptor, descriptor);
}

void Decide(const CString& file, const CString& descriptor, Target& target, Decision& decision) {
    if (!target.registry.IsProductInstalled(descriptor)) return;
    WriteUpgradeLog("initialize for new product************");
    decision.fresh = CProduct(file, -1, target.name);
    const tagProductStruct record = InstalledRecord(target, descriptor);
    if (record.wVersion == decision.fresh.getVersionNo() && record.wBuild == decision.fresh.getBuildNo()) {
        SetInstalled(decision.old, record);
        decision.result = kSameBuild;
        return;
    }
    if (target.HasRemoteAgent(descriptor)) {
        WriteUpgradeLog("IsRemote_64Bit_Products(%s) = TRUE and ProductDescriptor is %s", Text(target.name),
                        Text(descriptor));
        decision.isRemoteAgent = true;
        decision.result = IsAllowProductUpgradeOnRemote64(target, descriptor, decision.fresh, file, decision.old);
        return;
    }
    CProduct entry;
    decision.rule = FindRule(file, descriptor, target, entry);
    if (decision.rule != 0) {
        decision.old = entry;
        decision.result = IsAllowProductUpgrade(decision.old, decision.fresh);
        WriteUpgradeLog("Product is in setup.inf and %d", decision.result);
        return;
    }
    SetFound(decision.old, record, descriptor);
    decision.result = kNotAllowed;
}

}  // namespace

Target::Target(const char* machine)
    : name(machine), registry(0, name.IsEmpty() ? nullptr : name.GetBuffer(name.GetLength())) {}

bool Target::HasRemoteAgent(const CString& descriptor) const {
    return IsRemote_64Bit_System(name) && (descriptor == "ClientAgentNT" || descriptor == "VSSAgent");
}

Decision KsetIsAllowUpgrade(const CString& file, const CString& descriptor, const char* machine) {
    WriteUpgradeLog("KsetIsAllowUpgrade() - Start");
    Target target(machine);
    Decision decision;
    Decide(file, descriptor, target, decision);
    WriteUpgradeLog("KsetIsAllowUpgrade() - End - Return %d", decision.result);
    return decision;
}

int FindRule(const CString& file, const CString& descriptor, Target& target, CProduct& entry) {
    for (int index = 1; index <= kLastRule; ++index) {
        WriteUpgradeLog("initialize for old product************");
        entry = CProduct(file, index, nullptr);
        SetText(entry, &CProduct::setProductDescriptor, descriptor);
        if (entry.getProductCode().IsEmpty()) return 0;
        if (IsProductInstalled(entry, target)) return index;
    }
    return 0;
}

bool IsProductInstalled(CProduct& entry, Target& target) {
    WriteUpgradeLog("IsProductInstalled() - Start");
    const CString descriptor = entry.getProductDescriptor();
    const tagProductStruct record = InstalledRecord(target, descriptor);
    SetInstalled(entry, record);
    WriteUpgradeLog("oldproduct getBuildNo is %d", entry.getBuildNo());
    WriteUpgradeLog("oldproduct getVersionNo is %d", entry.getVersionNo());
    WriteUpgradeLog("oldproduct getVersionNo(*.*) is %d.%d", entry.getMajorVersionNo(), entry.getMinorVersionNo());
    if (target.HasRemoteAgent(descriptor)) {
        WriteUpgradeLog("IsRemote_64Bit_System(%s) = TRUE and ProductDescriptor is %s", Text(target.name),
                        Text(descriptor));
        return true;
    }
    bool matches = false;
    if (IsProductCodeInUnInstall(entry.getProductCode(), target.name)) {
        const CString accepted = entry.getProductSubType();
        const CString installed = accepted.IsEmpty() ? CString() : SubTypeText(record);
        matches = accepted.IsEmpty() || accepted.Find(installed) >= 0;
        if (matches) {
            SetText(entry, &CProduct::setProductSubType, installed);
            WriteUpgradeLog("oldproduct getProductSubType() is %s", Text(installed));
        }
    }
    WriteUpgradeLog("IsProductInstalled() - End - Return %s", TrueOrFalse(matches));
    return matches;
}

bool IsProductCodeInUnInstall(const CString& code, const CString& machine) {
    WriteUpgradeLog("IsProductCodeInUnInstall() - Start");
    RegistryKey root(HKEY_LOCAL_MACHINE);
    const bool isRemote = Is_Remote_Machine(machine) != 0;
    if (isRemote) {
        const CString path = machine.Left(2) == "\\\\" ? machine : "\\\\" + machine;
        if (RegConnectRegistryA(path, HKEY_LOCAL_MACHINE, root.Receive()) != ERROR_SUCCESS) root.Reset();
    }
    RegistryKey key;
    bool isInstalled = root && registry::Open(root.Get(), CHalvRegistry::m_sUninstallKey + "\\" + code, KEY_ALL_ACCESS,
                                              key) == ERROR_SUCCESS;
    if (!isInstalled && !isRemote && Is_Local_64Bit_System(machine)) {
        isInstalled = registry::WindowsInstallerKnows(code);
    }
    WriteUpgradeLog("IsProductCodeInUnInstall() - End - Return %s", TrueOrFalse(isInstalled));
    return isInstalled;
}

int IsAllowProductUpgrade(const CProduct& old, const CProduct& fresh) {
    WriteUpgradeLog("IsAllowProductUpgrade() - Start");
    const bool allowed = IsInVersionRange(old, fresh) != 1 && IsCompareVersionBuild(old, fresh);
    const int result = allowed ? kAllowed : kNotAllowed;
    WriteUpgradeLog("IsAllowProductUpgrade() - End - Return %d", result);
    return result;
}

int IsInVersionRange(const CProduct& old, const CProduct& fresh) {
    WriteUpgradeLog("IsInVersionRange() - Start");
    const WORD installed = old.getVersionNo();
    int result = 1;
    if (fresh.getVersionNo() == installed) {
        result = 0;
    } else if (fresh.getVersionNo() > installed &&
               (old.getVersionRange().IsEmpty() || IsWithin(installed, old.getMinVersionNo(), old.getMaxVersionNo()))) {
        result = 2;
    }
    WriteUpgradeLog("IsInVersionRange() - End - Return %d", result);
    return result;
}

bool IsCompareVersionBuild(const CProduct& old, const CProduct& fresh) {
    WriteUpgradeLog("IsCompareVersionBuild() - Start");
    const bool holds =
        fresh.getBuildNo() > old.getBuildNo() &&
        (old.getBuildRange().IsEmpty() || IsWithin<int>(old.getBuildNo(), old.getMinBuildNo(), old.getMaxBuildNo()));
    WriteUpgradeLog("IsCompareVersionBuild() - End - Return %s", TrueOrFalse(holds));
    return holds;
}

int IsAllowProductUpgradeOnRemote64(Target& target, const CString& descriptor, const CProduct& fresh,
                                    const CString& file, CProduct& old) {
    constexpr int kRangeBytes = 20;
    WriteUpgradeLog("IsAllowProductUpgradeOnRemote64(%s,%s,%s) ->", Text(target.name), Text(descriptor), Text(file));
    if (!target.registry.IsProductInstalled(descriptor)) return kNotRegistered;
    SetFound(old, InstalledRecord(target, descriptor), descriptor);
    WriteUpgradeLog("IsAllowProductUpgradeOnRemote64() -> old product: %d.%d,%d", old.getMajorVersionNo(),
                    old.getMinorVersionNo(), old.getBuildNo());

    const CString versionRange = ReadRule(file, "Upgrade", "64VersionRange", kRangeBytes);
    const Range versions = SplitRange(versionRange);
    const WORD lowest = VersionOf(versions.lower);
    const WORD highest = VersionOf(versions.upper);
    if (!versionRange.IsEmpty()) {
        WriteUpgradeLog("IsAllowProductUpgradeOnRemote64() -> VersionRange: %d.%d,%d.%d", lowest >> 8, lowest & 0xFF,
                        highest >> 8, highest & 0xFF);
    }
    const CString buildRange = ReadRule(file, "Upgrade", "64BuildRange", kRangeBytes);
    const Range builds = SplitRange(buildRange);
    const int first = NumberOf(builds.lower);
    const int last = NumberOf(builds.upper);
    if (!buildRange.IsEmpty()) {
        WriteUpgradeLog("IsAllowProductUpgradeOnRemote64() -> BuildRange: %d,%d", first, last);
    }
    const bool allowed = old.getVersionNo() <= fresh.getVersionNo() && IsWithin(old.getVersionNo(), lowest, highest) &&
                         old.getBuildNo() < fresh.getBuildNo() && IsWithin<int>(old.getBuildNo(), first, last);
    const int result = allowed ? kAllowed : kNotAllowed;
    WriteUpgradeLog("IsAllowProductUpgradeOnRemote64() <- %d", result);
    return result;
}

}  // namespace upgrade
