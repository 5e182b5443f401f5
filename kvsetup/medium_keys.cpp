#include "kvsetup/medium_keys.h"

namespace {

using profile_check::Kind;

constexpr profile_check::Key kKeys[] = {
    {"Setup", "ProductType", Kind::Number, 65535, "", "The product type: 133, 24, 25, 105, 1027 or 62"},
    {"Setup", "ProdSubType", Kind::Number, 5, "", "The product subtype"},
    {"Setup", "ProductCode", Kind::Text, 259, "", "Code of the product for the upgrade"},
    {"Setup", "ProductDescriptor", Kind::Text, 259, "", "Descriptor of the product for the upgrade"},
    {"Components", "DataMigration", Kind::Number, 999999999, "0", "The data migration is on the medium, unless 0"},
    {"Components", "OGTFrameWork", Kind::Number, 999999999, "0", "The management framework is on the medium, unless 0"},
    {"Components", "OGTFrameWorkSetupFileName", Kind::Text, 260, "", "Setup program of the management framework"},
    {"Components", "OV_IE5InstallFileName", Kind::Path, 259, "", "Installer of the browser"},
    {"Components", "ConfigFile", Kind::Path, 259, "", "Configuration file of the medium"},
    {"Components", "MSISetup", Kind::Path, 259, "", "Package of the Windows Installer"},
    {"Components", "MSMSetup", Kind::Path, 259, "", "Merge module of the Windows Installer"},
    {"Support", "ProductName", Kind::Text, 254, "", "The product: NAME - EDITION"},
    {"Support", "SetupFileName", Kind::Text, 260, "", "Setup program"},
    {"BuildNumber", "*", Kind::Range, 9, "", "Builds from which an update is allowed, one entry for each product"},
    {"ProductInfo", "GUIDLL", Kind::Text, 255, "", "Setup library that names the component in reports"},
    {"Upgrade", "UpgradeMsg", Kind::Number, 999999999, "0", "Number of a message of the upgrade"},
    {"Upgrade", "InvalidUpgradeMsg", Kind::Number, 999999999, "0", "Number of a message of the upgrade"},
    {"Upgrade", "VersionDLL", Kind::Text, 259, "", "Library that tells the new version"},
    {"Upgrade", "32VersionDLL", Kind::Text, 259, "", "The same for a remote 64-bit machine"},
    {"Upgrade", "64VersionRange", Kind::Range, 259, "", "Versions of remote agents that may be upgraded"},
    {"Upgrade", "64BuildRange", Kind::Range, 259, "", "Builds of remote agents that may be upgraded"},
    {"Upgrade", "ProductCodenn", Kind::Text, 259, "", "Code of an old product"},
    {"Upgrade", "ProdSubTypenn", Kind::Text, 259, "", "Subtypes that the rule covers"},
    {"Upgrade", "VersionRangenn", Kind::Range, 259, "", "Versions that may be upgraded"},
    {"Upgrade", "BuildRangenn", Kind::Range, 259, "", "Builds that may be upgraded"},
    {"Upgrade", "RegRootKeynn", Kind::Text, 259, "", "Root key of the old settings"},
    {"Upgrade", "RegSubKeynn", Kind::Text, 259, "", "Branches that are kept"},
    {"Upgrade", "RegBKValuesnn", Kind::Text, 259, "", "Values that are not kept"},
};

}  // namespace

std::span<const profile_check::Key> MediumKeys() { return kKeys; }
