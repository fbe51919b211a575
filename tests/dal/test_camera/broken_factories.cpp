// Factories of plug-ins that go wrong in the ways the DAL system must survive: one makes
// nothing, one makes an object that refuses the DAL plug-in interface, one makes a plug-in
// whose initialisation fails. Each reports on stderr when its last reference goes, so tests
// can see that the DAL system released what it was given.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <cstdio>

namespace {

struct broken_t {
    CMIOHardwarePlugInInterface* m_p_interface;
    ULONG m_references;
    const char* m_name;
};

ULONG add_ref(void* self) {
    return ++static_cast<broken_t*>(self)->m_references;
}

ULONG release(void* self) {
    auto* object = static_cast<broken_t*>(self);
    const ULONG left = --object->m_references;
    if (left == 0) {
        std::fprintf(stderr, "%s: last reference released\n", object->m_name);
        delete object;
    }
    return left;
}

OSStatus fail_to_initialize(CMIOHardwarePlugInRef, CMIOObjectID) {
    return kCMIOHardwareIllegalOperationError;
}

// The refusing table answers no interface; the failing one gives itself and fails to start.
CMIOHardwarePlugInInterface make_table(bool refusing) {
    CMIOHardwarePlugInInterface table{};
    table.QueryInterface = refusing ? +[](void*, REFIID, LPVOID* interface) -> HRESULT {
        *interface = nullptr;
        return E_NOINTERFACE;
    }
    : +[](void* self, REFIID, LPVOID* interface) -> HRESULT {
          add_ref(self);
          *interface = self;
          return S_OK;
      };
    table.AddRef = add_ref;
    table.Release = release;
    table.InitializeWithObjectID = fail_to_initialize;
    return table;
}

CMIOHardwarePlugInInterface g_refusing = make_table(true), g_failing = make_table(false);

}  // namespace

extern "C" __attribute__((visibility("default"))) void* BrokenFactoryReturnsNull(CFAllocatorRef, CFUUIDRef) {
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) void* BrokenFactoryRefusesInterface(CFAllocatorRef, CFUUIDRef) {
    return new broken_t{&g_refusing, 1, "RefusingPlugIn"};
}

extern "C" __attribute__((visibility("default"))) void* BrokenFactoryFailsToInitialize(CFAllocatorRef, CFUUIDRef) {
    return new broken_t{&g_failing, 1, "FailingPlugIn"};
}
