// The object model behind every CFTypeRef the platform hands out: a C++ object with an atomic
// retain count and a registered type id. Framework implementations (strings, arrays, pixel
// buffers, sample buffers, clocks, ...) derive from cf_object_t.
#ifndef ZAV_PLATFORM_CF_OBJECT_H
#define ZAV_PLATFORM_CF_OBJECT_H

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>

namespace zav_platform {

class cf_object_t {
public:
    // A new object has a retain count of one, owned by whoever created it.
    explicit cf_object_t(CFTypeID type_id);
    cf_object_t(const cf_object_t&) = delete;
    cf_object_t& operator=(const cf_object_t&) = delete;
    virtual ~cf_object_t();

    CFTypeID type_id() const { return m_type_id; }

    // CFEqual and CFHash for two objects of the same type; identity unless a type says more.
    virtual bool equal_to(const cf_object_t& other) const { return this == &other; }
    virtual CFHashCode hash() const { return reinterpret_cast<CFHashCode>(this); }
    // Text for CFCopyDescription.
    virtual std::string description() const;

    void retain();
    // Drops one reference; the object is destroyed when the last one goes.
    void release();
    CFIndex retain_count() const;

    // Turns the object into a constant that lives for the whole process: retain and release do
    // nothing and it is not counted among live objects (CFSTR strings, kCFBooleanTrue, ...).
    void make_constant();
    bool is_constant() const { return m_constant; }

    CFTypeRef as_ref() const { return static_cast<CFTypeRef>(this); }

private:
    std::atomic<CFIndex> m_retain_count{1};
    const CFTypeID m_type_id;
    bool m_constant = false;
};

// Registers a Core Foundation type by name ("CFString") and returns its new type id. Ids
// start at 1; 0 is never a valid type id.
CFTypeID register_cf_type(const char* name);
// The registered name of a type id, or null when no such type exists.
const char* cf_type_name(CFTypeID type_id);

// Ends the process with a message, as Core Foundation does for misuse that it cannot report
// (CFRelease(NULL), a use of a freed object, ...).
[[noreturn]] void cf_fatal(const char* what);

// The object behind a reference, or null when the reference is null.
inline cf_object_t* cf_object(CFTypeRef ref) {
    return const_cast<cf_object_t*>(static_cast<const cf_object_t*>(ref));
}

// The object behind a reference when it is of type T (T::class_type_id()), else null. Every
// public function of the platform checks its arguments through this, so that a wrong or null
// reference is refused rather than misread.
template <class T>
T* cf_cast(CFTypeRef ref) {
    cf_object_t* object = cf_object(ref);
    if (object == nullptr || object->type_id() != T::class_type_id()) return nullptr;
    return static_cast<T*>(object);
}

// The object behind a reference of type T; a null reference or one of another type ends the
// process with `call` as the message, which is Core Foundation's own answer to such misuse.
template <class T>
T& cf_require(CFTypeRef ref, const char* call) {
    T* object = cf_cast<T>(ref);
    if (object == nullptr) cf_fatal(call);
    return *object;
}

// The same for calls that change an object, which must also have been made mutable.
template <class T>
T& cf_require_mutable(CFTypeRef ref, const char* call) {
    T& object = cf_require<T>(ref, call);
    if (!object.is_mutable()) cf_fatal(call);
    return object;
}

// Creates a T and returns it as the reference type R, owned by the caller (Create rule).
template <class R, class T>
R cf_ref(T* object) {
    return reinterpret_cast<R>(const_cast<void*>(static_cast<const void*>(static_cast<cf_object_t*>(object))));
}

}  // namespace zav_platform

#endif
