// The decision whether an installed product may be replaced, step by step.
#ifndef INSTALIB_UPGRADE_DECISION_H
#define INSTALIB_UPGRADE_DECISION_H

#include "instalib/product.h"
#include "instalib/registry.h"

namespace upgrade {

inline constexpr int kLastRule = 99;

enum Answer : int { kAllowed = 0, kNotAllowed = 1, kNotInstalled = 2, kSameBuild = 3, kNotRegistered = -1 };

// The machine that is asked: its name and a reader of its product registry, opened once.
struct Target {
    explicit Target(const char* name);
    CString name;
    CHalvRegistry registry;
    // A remote 64-bit machine and one of the two agents that have rules of their own there.
    bool HasRemoteAgent(const CString& descriptor) const;
};

struct Decision {
    int result = kNotInstalled;
    int rule = 0;                // the number of the entry that covers the installed product, 0 without one
    bool isRemoteAgent = false;  // the rules for agents on another 64-bit machine decided
    CProduct old;
    CProduct fresh;
};

Decision KsetIsAllowUpgrade(const CString& file, const CString& descriptor, const char* machine);

// The entry that covers the installed product, its installed version, build and subtype filled in; its number, or 0
// when none does (`entry` is the last one tried then).
int FindRule(const CString& file, const CString& descriptor, Target& target, CProduct& entry);

// Whether the entry covers the installed product; fills in the installed version, build and, on a match, subtype.
bool IsProductInstalled(CProduct& entry, Target& target);
bool IsProductCodeInUnInstall(const CString& code, const CString& machine);
// kAllowed or kNotAllowed; IsInVersionRange gives 0 for equal versions, 2 for a newer one whose range holds, else 1.
int IsAllowProductUpgrade(const CProduct& old, const CProduct& fresh);
int IsInVersionRange(const CProduct& old, const CProduct& fresh);
bool IsCompareVersionBuild(const CProduct& old, const CProduct& fresh);
int IsAllowProductUpgradeOnRemote64(Target& target, const CString& descriptor, const CProduct& fresh,
                                    const CString& file, CProduct& old);

}  // namespace upgrade

#endif
