// Arrays, maps, run-time class information and exceptions as a front end uses them, from outside the library.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "instalib/array.h"
#include "instalib/combo_box.h"
#include "instalib/exception.h"
#include "instalib/map.h"

namespace {

using Texts = CArray<CString, CString>;

template <class Array>
std::string Join(const Array& array) {
    std::string joined;
    for (int i = 0; i < array.GetSize(); ++i) joined += std::string(array.GetAt(i)) + ";";
    return joined;
}

Texts MakeTexts(std::initializer_list<const char*> texts) {
    Texts array;
    for (const char* text : texts) array.Add(text);
    return array;
}

TEST(ArrayTest, GrowsShrinksAndKeepsOrder) {
    Texts array = MakeTexts({"a", "b"});
    EXPECT_EQ(array.Add("c"), 2);
    array.InsertAt(1, "x", 2);
    EXPECT_EQ(Join(array), "a;x;x;b;c;");
    array.RemoveAt(1, 2);
    array.RemoveAt(2, 99);
    EXPECT_EQ(Join(array), "a;b;");
    array.InsertAt(4, "far");
    EXPECT_EQ(Join(array), "a;b;;;far;");
    array.SetSize(1);
    array.SetSize(2);
    EXPECT_EQ(Join(array), "a;;");
    array.RemoveAll();
    EXPECT_EQ(array.GetUpperBound(), -1);
}

TEST(ArrayTest, CopiesAreIndependentAndMayBeOfItself) {
    Texts array = MakeTexts({"a", "b"});
    Texts copy = array;
    Texts other;
    other.Copy(array);
    array[0] = "changed";
    EXPECT_EQ(Join(copy), "a;b;");
    EXPECT_EQ(other.Append(other), 2);
    EXPECT_EQ(Join(other), "a;b;a;b;");
    const Texts& same = other;
    other = same;
    EXPECT_EQ(Join(other), "a;b;a;b;");
    Texts moved(std::move(other));
    EXPECT_EQ(Join(moved), "a;b;a;b;");
}

TEST(ArrayTest, ElementsOfTheArrayMayBeAddedToIt) {
    CArray<CString> array;
    array.Add("abcdefghijklmnop");
    for (int i = 0; i < 20; ++i) array.InsertAt(0, array[array.GetUpperBound()]);
    EXPECT_EQ(array.GetSize(), 21);
    EXPECT_STREQ(array[0], "abcdefghijklmnop");
}

TEST(ArrayTest, IndexOutsideIsHarmless) {
    Texts array = MakeTexts({"a"});
    for (const int index : {-1, 1, INT_MAX, INT_MIN}) {
        array.SetAt(index, "lost");
        array.ElementAt(index) = "lost";
        array.RemoveAt(index);
        EXPECT_STREQ(array.GetAt(index), "");
        EXPECT_STREQ(array[index], "");
    }
    array.InsertAt(-1, "lost");
    array.InsertAt(0, "lost", -1);
    array.SetSize(-5);
    EXPECT_EQ(array.GetSize(), 0);
}

TEST(ArrayTest, MemoryThatCannotBeHadLeavesTheArray) {
    Texts array = MakeTexts({"a"});
    try {
        array.InsertAt(INT_MAX, "far");
        FAIL() << "nothing thrown";
    } catch (CMemoryException* exception) {
        exception->Delete();
    }
    EXPECT_EQ(Join(array), "a;");
}

TEST(MapTest, AgreesWithTheStandardMapOverManyChanges) {
    CMapStringToString map;
    std::map<std::string, std::string> expected;
    unsigned random = 1;
    for (int i = 0; i < 20000; ++i) {
        random = random * 1103515245u + 12345u;
        const std::string key = "key" + std::to_string(random >> 16 & 0x3FF);
        if (random & 0x80000000u) {
            EXPECT_EQ(map.RemoveKey(key.c_str()) != 0, expected.erase(key) != 0);
        } else {
            map.SetAt(key.c_str(), std::to_string(i).c_str());
            expected[key] = std::to_string(i);
        }
    }
    std::map<std::string, std::string> walked;
    for (POSITION position = map.GetStartPosition(); position != nullptr;) {
        CString key, value;
        map.GetNextAssoc(position, key, value);
        walked[std::string(key)] = std::string(value);
    }
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(map.GetCount(), int(expected.size()));
}

TEST(MapTest, KeysDifferByCaseAndAMissingOneLeavesTheValue) {
    CMapStringToString map(0);
    map["r"] = "HOST";
    CString value("old");
    EXPECT_EQ(map.Lookup("R", value), 0);
    EXPECT_STREQ(value, "old");
    EXPECT_NE(map.Lookup("r", value), 0);
    EXPECT_STREQ(value, "HOST");
    map.RemoveAll();
    EXPECT_NE(map.IsEmpty(), 0);
    EXPECT_EQ(map.Lookup("r", value), 0);
}

TEST(MapTest, CopyIsIndependentAndWalksInTheOrderOfSetting) {
    CMapStringToString map;
    for (const char* key : {"z", "a", "m", "a"}) map.SetAt(key, key);
    CMapStringToString copy(map);
    map.RemoveKey("z");
    std::string order;
    for (POSITION position = copy.GetStartPosition(); position != nullptr;) {
        CString key, value;
        copy.GetNextAssoc(position, key, value);
        order += key;
        copy.RemoveKey(key);  // the entry just answered may go
    }
    EXPECT_EQ(order, "zam");
    EXPECT_EQ(copy.GetCount(), 0);
    copy = map;
    EXPECT_EQ(copy.GetCount(), 2);
}

// A front end's own class on the framework, defined in another module than the library.
class CFrontEndException : public CSetupException {
    DECLARE_DYNAMIC(CFrontEndException)
  public:
    explicit CFrontEndException(int* destroyed) : CSetupException(1, 2, "front end"), m_destroyed(destroyed) {}
    ~CFrontEndException() override { ++*m_destroyed; }

  private:
    int* m_destroyed;
};
IMPLEMENT_DYNAMIC(CFrontEndException, CSetupException)

TEST(RuntimeClassTest, ClassOfAnotherModuleIsOfItsBasesKind) {
    int destroyed = 0;
    CException* const exception = new CFrontEndException(&destroyed);
    EXPECT_STREQ(exception->GetRuntimeClass()->m_lpszClassName, "CFrontEndException");
    EXPECT_EQ(exception->GetRuntimeClass()->m_nObjectSize, int(sizeof(CFrontEndException)));
    EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CFrontEndException)));
    EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CSetupException)));
    EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(exception->IsKindOf(RUNTIME_CLASS(CMemoryException)));
    exception->Delete();
    EXPECT_EQ(destroyed, 1);
}

TEST(RuntimeClassTest, SetupExceptionCannotBeCreatedByName) {
    const CRuntimeClass* const information = RUNTIME_CLASS(CSetupException);
    EXPECT_STREQ(information->m_lpszClassName, "CSetupException");
    EXPECT_EQ(information->m_pfnCreateObject, nullptr);
    EXPECT_EQ(information->m_pBaseClass, RUNTIME_CLASS(CException));
}

TEST(SetupExceptionTest, IsThrownByPointerWithItsThreeValues) {
    try {
        AfxThrowSetupException(2, 5, "OpenProcessToken() failed");
    } catch (CException* caught) {
        ASSERT_TRUE(caught->IsKindOf(RUNTIME_CLASS(CSetupException)));
        auto* const exception = static_cast<CSetupException*>(caught);
        EXPECT_EQ(exception->m_nCause, 2);
        EXPECT_EQ(exception->m_dwError, 5u);
        EXPECT_STREQ(exception->m_sMessage, "OpenProcessToken() failed");
        exception->Delete();
    }
    const CSetupException plain;
    EXPECT_EQ(plain.m_nCause, 0);
    EXPECT_EQ(plain.m_dwError, 0u);
    EXPECT_STREQ(plain.m_sMessage, "");
}

TEST(SetupExceptionTest, MessageHoldsTextAndErrorAndIsCutToTheBuffer) {
    CSetupException exception(2, 5, "AccessCheck() failed");
    UINT help = 77;
    char text[64] = "";
    EXPECT_EQ(exception.GetErrorMessage(text, sizeof text, &help), 1);
    EXPECT_STREQ(text, "AccessCheck() failed - [0x5]");
    EXPECT_EQ(help, 77u);
    char cut[12];
    std::memset(cut, '#', sizeof cut);
    EXPECT_EQ(exception.GetErrorMessage(cut, 10, nullptr), 1);
    EXPECT_EQ(std::memcmp(cut, "AccessChe\0##", sizeof cut), 0);
    EXPECT_EQ(exception.GetErrorMessage(cut, 0, nullptr), 1);
    EXPECT_EQ(std::memcmp(cut, "AccessChe\0##", sizeof cut), 0);
    exception.m_dwError = 0xFFFFFFFF;
    exception.GetErrorMessage(text, sizeof text, nullptr);
    EXPECT_STREQ(text, "AccessCheck() failed - [0xffffffff]");
}

TEST(MemoryExceptionTest, SurvivesItsDeletionAndCanBeRaisedAgain) {
    for (int i = 0; i < 2; ++i) {
        try {
            FrameworkAllocate(SIZE_MAX);
            FAIL() << "nothing thrown";
        } catch (CException* exception) {
            EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CMemoryException)));
            char text[64] = "";
            EXPECT_EQ(exception->GetErrorMessage(text, sizeof text), 1);
            EXPECT_STRNE(text, "");
            exception->Delete();
        }
    }
    delete new CMemoryException;
}

// The slot of a virtual function, as the C++ ABI of both compilers stores it in a member pointer.
template <class Member>
std::size_t SlotOf(Member member) {
    std::uintptr_t offset = 0;
    static_assert(sizeof member >= sizeof offset);
    std::memcpy(&offset, &member, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST(VirtualSlotTest, OrderIsTheInterfacesOwn) {
    // The destructor takes two slots: with and without giving the memory back.
    EXPECT_EQ(SlotOf(&CObject::GetRuntimeClass), 0u);
    EXPECT_EQ(SlotOf(&CObject::Serialize), 3u);
    EXPECT_EQ(SlotOf(&CObject::AssertValid), 4u);
    EXPECT_EQ(SlotOf(&CObject::Dump), 5u);
    EXPECT_EQ(SlotOf(&CSetupException::GetErrorMessage), 6u);
    EXPECT_EQ(SlotOf(&CSetupException::ReportError), 7u);
    EXPECT_EQ(SlotOf(&CMapStringToString::GetRuntimeClass), 0u);
    EXPECT_EQ(SlotOf(&CComboBox::AddString), 2u);
}

TEST(ComboBoxTest, WithoutAWindowNothingIsAppended) { EXPECT_EQ(CComboBox().AddString("line"), -1); }

}  // namespace
