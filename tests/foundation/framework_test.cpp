// Arrays, run-time class information and exceptions as a front end uses them, from outside the library.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "instalib/array.h"
#include "instalib/combo_box.h"
#include "instalib/exception.h"

namespace {

using Texts = CArray<CString, CString>;

std::string Join(const Texts& array) {
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
    Texts other;
    other.Copy(array);
    array[0] = "changed";
    EXPECT_EQ(other.Append(other), 2);
    const Texts& same = other;
    other = same;
    for (int i = 0; i < 20; ++i) other.InsertAt(4, other[1]);
    other.RemoveAt(4, 20);
    EXPECT_EQ(Join(Texts(std::move(other))), "a;b;a;b;");
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
    EXPECT_EQ(Join(array), "a;");
    array.SetSize(-5);
    EXPECT_EQ(array.GetSize(), 0);
}

// Copies as long as it is allowed to.
struct Scarce {
    static inline int left = INT_MAX;
    Scarce() = default;
    Scarce(const Scarce&) {
        if (left-- == 0) AfxThrowMemoryException();
    }
    Scarce(Scarce&&) noexcept = default;
    Scarce& operator=(Scarce&&) = default;
    Scarce& operator=(const Scarce&) = default;
    CString content = "what a leak would show";
};

TEST(ArrayTest, MemoryThatCannotBeHadLeavesTheArray) {
    CArray<Scarce> array;
    array.Add(Scarce());
    array.Add(Scarce());
    int failures = 0;
    const auto attempt = [&](int copies, auto operation) {
        Scarce::left = copies;
        try {
            operation();
        } catch (CMemoryException* exception) {
            exception->Delete();
            ++failures;
        }
        Scarce::left = INT_MAX;
        EXPECT_EQ(array.GetSize(), 2);
    };
    for (int copies = 0; copies < 5; ++copies) attempt(copies, [&] { array.InsertAt(5, Scarce(), 4); });
    attempt(1, [&] { const CArray<Scarce> copy(array); });
    attempt(1, [&] { array.Append(array); });
    attempt(9, [&] { array.InsertAt(INT_MAX, Scarce()); });
    EXPECT_EQ(failures, 8);
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

TEST(ExceptionTest, ClassOfAnotherModuleIsCaughtAndDeletedAsItsBase) {
    int destroyed = 0;
    try {
        throw new CFrontEndException(&destroyed);
    } catch (CException* exception) {
        EXPECT_STREQ(exception->GetRuntimeClass()->m_lpszClassName, "CFrontEndException");
        EXPECT_EQ(exception->GetRuntimeClass()->m_nObjectSize, int(sizeof(CFrontEndException)));
        EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CFrontEndException)));
        EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CSetupException)));
        EXPECT_TRUE(exception->IsKindOf(RUNTIME_CLASS(CObject)));
        EXPECT_FALSE(exception->IsKindOf(RUNTIME_CLASS(CMemoryException)));
        exception->Delete();
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(ExceptionTest, SetupExceptionIsThrownByPointerWithItsThreeValues) {
    try {
        AfxThrowSetupException(2, 5, "OpenProcessToken() failed");
    } catch (CSetupException* exception) {
        EXPECT_EQ(exception->m_nCause, 2);
        EXPECT_EQ(exception->m_dwError, 5u);
        EXPECT_STREQ(exception->m_sMessage, "OpenProcessToken() failed");
        exception->Delete();
    }
    const CSetupException plain;
    EXPECT_EQ(plain.m_nCause, 0);
    EXPECT_EQ(plain.m_dwError, 0u);
    EXPECT_STREQ(plain.m_sMessage, "");
    const CRuntimeClass* const information = RUNTIME_CLASS(CSetupException);
    EXPECT_STREQ(information->m_lpszClassName, "CSetupException");
    EXPECT_EQ(information->m_pfnCreateObject, nullptr) << "not to be created by name";
    EXPECT_EQ(information->m_pBaseClass, RUNTIME_CLASS(CException));
}

TEST(ExceptionTest, MessageHoldsTextAndErrorAndIsCutToTheBuffer) {
    CSetupException exception(2, 5, "AccessCheck() failed");
    UINT help = 77;
    char text[64] = "";
    EXPECT_EQ(exception.GetErrorMessage(text, sizeof text, &help), 1);
    EXPECT_STREQ(text, "AccessCheck() failed - [0x5]");
    EXPECT_EQ(help, 77u);
    char cut[] = "###########";
    for (const UINT capacity : {10u, 0u}) {
        EXPECT_EQ(exception.GetErrorMessage(cut, capacity, nullptr), 1);
        EXPECT_EQ(std::string(cut, 11), std::string("AccessChe\0#", 11));
    }
    exception.m_dwError = 0xFFFFFFFF;
    exception.GetErrorMessage(text, sizeof text, nullptr);
    EXPECT_STREQ(text, "AccessCheck() failed - [0xffffffff]");
}

TEST(ExceptionTest, MemoryExceptionSurvivesItsDeletionAndCanBeRaisedAgain) {
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
    CMemoryException* volatile own = new CMemoryException;  // the compiler is not to see through the pair
    delete own;
}

// The slot of a virtual function, as the C++ ABI of both compilers stores it in a member pointer.
template <class Member>
std::size_t SlotOf(Member member) {
    std::uintptr_t offset = 0;
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
    EXPECT_EQ(SlotOf(&CComboBox::AddString), 2u);
    EXPECT_EQ(CComboBox().AddString("line"), -1) << "without a window nothing is appended";
}

}  // namespace
