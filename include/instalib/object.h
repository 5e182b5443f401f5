// The root of the framework's classes with run-time class information, and the memory that the library hands out.
#ifndef INSTALIB_OBJECT_H
#define INSTALIB_OBJECT_H

#include <cstddef>

#include "instalib/export.h"

// Memory that passes the library's boundary comes from and goes back to the library's own heap, whatever runtime the
// caller was built with. FrameworkAllocate throws CMemoryException* when there is none; FrameworkFree takes null.
INSTALIB_API void* FrameworkAllocate(std::size_t size);
INSTALIB_API void FrameworkFree(void* memory) noexcept;

class CArchive;      // serialisation target; declared for the hook's signature only
class CDumpContext;  // diagnostic output; declared for the hook's signature only
class CObject;

// One class's run-time information: its name, its size in bytes, how to create an object of it (null: not creatable by
// name) and its base class's information (null for CObject).
struct CRuntimeClass {
    const char* m_lpszClassName;
    int m_nObjectSize;
    CObject* (*m_pfnCreateObject)();
    const CRuntimeClass* m_pBaseClass;

    // Nonzero when this class is `base` or derives from it.
    INSTALIB_API int IsDerivedFrom(const CRuntimeClass* base) const noexcept;
};

// Virtual slots, in order: GetRuntimeClass, destructor, Serialize, AssertValid, Dump.
class INSTALIB_API CObject {
  public:
    static const CRuntimeClass classCObject;

    virtual const CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject();
    // Hooks for serialisation and diagnostics; they do nothing here.
    virtual void Serialize(CArchive& archive);
    virtual void AssertValid() const;
    virtual void Dump(CDumpContext& context) const;

    // Nonzero when the object is of `wanted` or of a class derived from it.
    int IsKindOf(const CRuntimeClass* wanted) const noexcept;

    static void* operator new(std::size_t size);
    static void operator delete(void* memory) noexcept;

  protected:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};

// In the class: declares its information. In one source: defines it for a class that cannot be created by name.
#define DECLARE_DYNAMIC(class_name)                \
  public:                                          \
    static const CRuntimeClass class##class_name;  \
    const CRuntimeClass* GetRuntimeClass() const override;

#define IMPLEMENT_DYNAMIC(class_name, base_name)                                                     \
    const CRuntimeClass class_name::class##class_name = {#class_name, int(sizeof(class_name)), nullptr, \
                                                         &base_name::class##base_name};              \
    const CRuntimeClass* class_name::GetRuntimeClass() const { return &class##class_name; }

#define RUNTIME_CLASS(class_name) (&class_name::class##class_name)

#endif
