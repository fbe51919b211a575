// The type-independent Core Foundation calls: retain, release, equality, hashing, allocators
// and the null object.
#include <CoreFoundation/CFBase.h>

#include "cf_object.h"

#include <cstdlib>

using namespace zav_platform;

namespace {

// Allocators are objects like any other; the platform has only malloc-backed ones, so every
// allocator argument is accepted and memory always comes from malloc.
class allocator_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFAllocator");
        return id;
    }
    allocator_t() : cf_object_t(class_type_id()) { make_constant(); }
};

class null_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFNull");
        return id;
    }
    null_t() : cf_object_t(class_type_id()) { make_constant(); }
};

CFAllocatorRef make_allocator() {
    return cf_ref<CFAllocatorRef>(new allocator_t);
}

cf_object_t* checked(CFTypeRef cf, const char* call) {
    if (cf == nullptr) cf_fatal(call);
    return cf_object(cf);
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = make_allocator();
const CFAllocatorRef kCFAllocatorMalloc = make_allocator();
const CFAllocatorRef kCFAllocatorMallocZone = make_allocator();
const CFAllocatorRef kCFAllocatorNull = make_allocator();
const CFAllocatorRef kCFAllocatorUseContext = make_allocator();
const CFNullRef kCFNull = cf_ref<CFNullRef>(new null_t);

CFTypeID CFNullGetTypeID(void) {
    return null_t::class_type_id();
}
CFTypeID CFAllocatorGetTypeID(void) {
    return allocator_t::class_type_id();
}
CFAllocatorRef CFAllocatorGetDefault(void) {
    return kCFAllocatorSystemDefault;
}

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags) {
    return size > 0 ? std::malloc(static_cast<size_t>(size)) : nullptr;
}

void* CFAllocatorReallocate(CFAllocatorRef, void* ptr, CFIndex newsize, CFOptionFlags) {
    if (newsize <= 0) {
        std::free(ptr);
        return nullptr;
    }
    return std::realloc(ptr, static_cast<size_t>(newsize));
}

void CFAllocatorDeallocate(CFAllocatorRef, void* ptr) {
    std::free(ptr);
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
    return checked(cf, "CFGetTypeID called with NULL")->type_id();
}

CFTypeRef CFRetain(CFTypeRef cf) {
    checked(cf, "CFRetain called with NULL")->retain();
    return cf;
}

void CFRelease(CFTypeRef cf) {
    checked(cf, "CFRelease called with NULL")->release();
}

// There is no autorelease pool outside Objective-C; the caller's reference is kept alive for
// the process, which is what a pool that is never drained would do.
CFTypeRef CFAutorelease(CFTypeRef arg) {
    return arg;
}

CFTypeRef CFMakeCollectable(CFTypeRef cf) {
    return cf;
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
    return checked(cf, "CFGetRetainCount called with NULL")->retain_count();
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    const cf_object_t* a = checked(cf1, "CFEqual called with NULL");
    const cf_object_t* b = checked(cf2, "CFEqual called with NULL");
    if (a == b) return true;
    if (a->type_id() != b->type_id()) return false;
    return a->equal_to(*b);
}

CFHashCode CFHash(CFTypeRef cf) {
    return checked(cf, "CFHash called with NULL")->hash();
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) {
    checked(cf, "CFGetAllocator called with NULL");
    return kCFAllocatorSystemDefault;
}
