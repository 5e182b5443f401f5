#include "instalib/object.h"

#include <cstdint>
#include <cstdlib>

#include "instalib/exception.h"

void* FrameworkAllocate(std::size_t size) {
    // More than half of the address space is a wrapped computation; the heap is not asked.
    void* const memory = size > PTRDIFF_MAX ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) AfxThrowMemoryException();
    return memory;
}

void FrameworkFree(void* memory) noexcept { std::free(memory); }

int CRuntimeClass::IsDerivedFrom(const CRuntimeClass* base) const noexcept {
    const CRuntimeClass* current = this;
    while (current != nullptr && current != base) current = current->m_pBaseClass;
    return current != nullptr;
}

const CRuntimeClass CObject::classCObject = {"CObject", int(sizeof(CObject)), nullptr, nullptr};

const CRuntimeClass* CObject::GetRuntimeClass() const { return &classCObject; }
CObject::~CObject() = default;
void CObject::Serialize(CArchive&) {}
void CObject::AssertValid() const {}
void CObject::Dump(CDumpContext&) const {}

int CObject::IsKindOf(const CRuntimeClass* wanted) const noexcept { return GetRuntimeClass()->IsDerivedFrom(wanted); }

void* CObject::operator new(std::size_t size) { return FrameworkAllocate(size); }
void CObject::operator delete(void* memory) noexcept { FrameworkFree(memory); }
