// The description of a product and the texts of its rules.
#include "tests/upgrade/upgrade_fixture.h"

namespace {

using testing::ElementsAre;

char* Writable(const char* text) { return const_cast<char*>(text); }

Lines Texts(CArray<CString, CString>& list) {
    Lines texts;
    for (int i = 0; i < list.GetSize(); ++i) texts.emplace_back(list.ElementAt(i));
    return texts;
}

using Product = UpgradeTest;

TEST_F(Product, AccessorsKeepWhatTheyAreGiven) {
    CProduct product;
    EXPECT_EQ(product.getBuildNo() + product.getVersionNo() + product.getUpgradeMsg() + product.getInvalidUpgradeMsg(),
              0);
    const struct {
        CString (CProduct::*get)() const;
        void (CProduct::*set)(char*);
    } texts[] = {{&CProduct::getName, &CProduct::setName},
                 {&CProduct::getProductCode, &CProduct::setProductCode},
                 {&CProduct::getProductSubType, &CProduct::setProductSubType},
                 {&CProduct::getVersionRange, &CProduct::setVersionRange},
                 {&CProduct::getBuildRange, &CProduct::setBuildRange},
                 {&CProduct::getRegRootKey, &CProduct::setRegRootKey},
                 {&CProduct::getProductDescriptor, &CProduct::setProductDescriptor},
                 {&CProduct::getRegBKRootKey, &CProduct::setRegBKRootKey}};
    for (std::size_t i = 0; i < std::size(texts); ++i) (product.*texts[i].set)(std::to_string(i).data());
    const CProduct copy(product);
    for (std::size_t i = 0; i < std::size(texts); ++i) EXPECT_EQ((copy.*texts[i].get)(), std::to_string(i).c_str());
    (product.*texts[0].set)(nullptr);
    EXPECT_EQ(product.getName(), "");
    product.setUpgradeMsg(-1);
    product.setInvalidUpgradeMsg(5);
    product.setBuildNo(65535);
    product.setVersionNo(WORD(0x0B05));
    EXPECT_EQ(product.getUpgradeMsg() + product.getInvalidUpgradeMsg(), 4);
    EXPECT_EQ(product.getBuildNo(), 65535);
    EXPECT_EQ(product.getMajorVersionNo() * 100 + product.getMinorVersionNo(), 1105);
}

TEST_F(Product, ConvertsVersionsAndRangeEnds) {
    CProduct product;
    const std::pair<const char*, int> versions[] = {
        {"11.5", 0x0B05}, {"11.300", 0x0B2C}, {"7", 7}, {" 9. 1x", 0x0901}, {"-9.1", 1}, {"", 0}, {"257.1.9", 0x0101}};
    for (const auto& [text, number] : versions) {
        product.setVersionNo(CString(text));
        EXPECT_EQ(product.getVersionNo(), number) << text;
    }
    const struct {
        const char* text;
        int minVersion, maxVersion, minBuild, maxBuild;
    } ranges[] = {{"9.0,11.1", 0x0900, 0x0B01, 9, 11},
                  {"", 0, 0, 0, 10000},
                  {"9.0", 0, 0x0900, 0, 9},
                  {"900", 0, 900 & 0xFF, 0, 900},
                  {",5,6", 0, 5, 0, 5},
                  {"3500,99999999999", 3500 & 0xFF, 0xFF, 3500, 2147483647}};
    for (const auto& range : ranges) {
        product.setVersionRange(Writable(range.text));
        product.setBuildRange(Writable(range.text));
        EXPECT_EQ(product.getMinVersionNo(), range.minVersion) << range.text;
        EXPECT_EQ(product.getMaxVersionNo(), range.maxVersion) << range.text;
        EXPECT_EQ(product.getMinBuildNo(), range.minBuild) << range.text;
        EXPECT_EQ(product.getMaxBuildNo(), range.maxBuild) << range.text;
    }
    product.setVersionRange(Writable("9.2,11.1"));
    EXPECT_EQ(product.getMajorMinVersionNo() * 100 + product.getMinorMinVersionNo(), 902);
    EXPECT_EQ(product.getMajorMaxVersionNo() * 100 + product.getMinorMaxVersionNo(), 1101);
}

TEST_F(Product, ListsGrowByThePiecesAndAreTheObjectsOwn) {
    CProduct product;
    product.setRegSubKey(Writable("A,,B,"));
    product.setRegSubKey(Writable("A, B"));
    product.setRegSubKey(Writable(""));
    product.getRegSubKey().Add("C");
    EXPECT_THAT(Texts(product.getRegSubKey()), ElementsAre("A", "", "B", "A", " B", "C"));
    product.setRegBKValues(Writable("V"));
    EXPECT_THAT(Texts(product.getRegBKValues()), ElementsAre("V"));
}

TEST_F(Product, NewProductIsTracedLineByLine) {
    ClearTrace();
    const CProduct product(File().c_str(), -1, nullptr);
    EXPECT_EQ(Trace(),
              Traced({"ProductCode is {NEW}", "ProductSubType is 7", "ProductDescriptor is Agent",
                      "UpgradeMsgID is 1201", "InvalidUpgradeMsgID is 1202", "RegBKRootKey is " + kBackup,
                      "RegRootKey is " + kRoot, "newproduct getBuildNo is 4200", "newproduct getVersionNo is 11.5"}));
    EXPECT_EQ(product.getVersionNo(), 0x0B05);
    CProduct missing("C:\\TEST\\none\\setup.inf", -1, nullptr);
    EXPECT_EQ(missing.getRegBKRootKey(), kBackup.c_str());
    EXPECT_EQ(missing.getBuildNo() + missing.getVersionNo() + missing.getUpgradeMsg(), 0);
    EXPECT_EQ(missing.getRegSubKey().GetSize() + missing.getRegBKValues().GetSize(), 0);
}

TEST_F(Product, RuleIsTracedLineByLine) {
    Rules(
        "ProductCode12={X}\r\nBuildRange12=1,20\r\nVersionRange12=9.0,11.1\r\nProdSubType12=1,2\r\nRegSubKey12=A\\B,"
        "C\r\n"
        "RegRootKey12=SOFTWARE\\R\r\nRegBKValues12=Path,Port\r\nProductCode03={Y}\r\n");
    ClearTrace();
    CProduct rule(File().c_str(), 12, nullptr);
    EXPECT_EQ(Trace(), Traced({"productCode12 is {X}",
                               "BuildRange12 is 1,20",
                               "MaxBuild12 is 20",
                               "MinBuild12 is 1",
                               "VersionRange12 is 9.0,11.1",
                               "MaxVersion is12 2817",
                               "MajorMaxVersion12 is 11",
                               "MinorMaxVersion12 is  1",
                               "MinVersion is12 2304",
                               "MajorMinVersion12 is  9",
                               "MinorMinVersion12 is  0",
                               "lpszSubKey12[0] is A\\B",
                               "lpszSubKey12[1] is C",
                               "RegRootKeyOld12 is SOFTWARE\\R",
                               "RegBKValues12[0] is Path",
                               "RegBKValues12[1] is Port",
                               "RegBKValues12[2] is Version",
                               "RegBKValues12[3] is Dll",
                               "RegBKValues12[4] is ProdSubtype",
                               "RegBKValues12[5] is BuildNumber"}));
    EXPECT_EQ(rule.getProductSubType(), "1,2");
    CProduct third(File().c_str(), 3, nullptr);
    EXPECT_THAT(Texts(third.getRegBKValues()), ElementsAre("Version", "Dll", "ProdSubtype", "BuildNumber"));
    Rules("RegBKValues01=" + std::string(300, 'x') + "\r\n");
    CProduct longest(File().c_str(), 1, nullptr);
    EXPECT_THAT(Texts(longest.getRegBKValues()),
                ElementsAre(std::string(259, 'x'), "Version", "Dll", "ProdSubtype", "BuildNumber"));
}

}  // namespace
