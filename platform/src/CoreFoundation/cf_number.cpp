// CFNumber and CFBoolean.
#include <CoreFoundation/CFNumber.h>

#include "cf_object.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

using namespace zav_platform;

namespace {

class cf_boolean_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFBoolean");
        return id;
    }
    explicit cf_boolean_t(bool value) : cf_object_t(class_type_id()), m_value(value) { make_constant(); }
    bool value() const { return m_value; }
    std::string description() const override { return m_value ? "true" : "false"; }
    CFHashCode hash() const override { return m_value ? 1 : 0; }

private:
    const bool m_value;
};

// The canonical type a number reports for the type it was made with (CFNumberGetType), and
// whether that type is a floating-point one.
CFNumberType canonical_type(CFNumberType type) {
    switch (type) {
        case kCFNumberSInt8Type:
        case kCFNumberCharType:
            return kCFNumberSInt8Type;
        case kCFNumberSInt16Type:
        case kCFNumberShortType:
            return kCFNumberSInt16Type;
        case kCFNumberSInt32Type:
        case kCFNumberIntType:
            return kCFNumberSInt32Type;
        case kCFNumberSInt64Type:
        case kCFNumberLongType:
        case kCFNumberLongLongType:
        case kCFNumberCFIndexType:
        case kCFNumberNSIntegerType:
            return kCFNumberSInt64Type;
        case kCFNumberFloat32Type:
        case kCFNumberFloatType:
            return kCFNumberFloat32Type;
        case kCFNumberFloat64Type:
        case kCFNumberDoubleType:
        case kCFNumberCGFloatType:
            return kCFNumberFloat64Type;
        default:
            return 0;
    }
}

CFIndex byte_size(CFNumberType canonical) {
    switch (canonical) {
        case kCFNumberSInt8Type:
            return 1;
        case kCFNumberSInt16Type:
            return 2;
        case kCFNumberSInt32Type:
        case kCFNumberFloat32Type:
            return 4;
        default:
            return 8;
    }
}

bool is_float(CFNumberType canonical) {
    return canonical == kCFNumberFloat32Type || canonical == kCFNumberFloat64Type;
}

class cf_number_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFNumber");
        return id;
    }
    cf_number_t(CFNumberType canonical, std::int64_t integer, double real)
        : cf_object_t(class_type_id()), m_type(canonical), m_integer(integer), m_real(real) {}

    CFNumberType type() const { return m_type; }
    bool is_real() const { return is_float(m_type); }
    std::int64_t integer() const { return m_integer; }
    double real() const { return m_real; }

    // Numbers compare by value, whatever their types (1 equals 1.0).
    int compare(const cf_number_t& other) const {
        if (!is_real() && !other.is_real())
            return m_integer < other.m_integer ? -1 : m_integer > other.m_integer ? 1 : 0;
        const double a = is_real() ? m_real : static_cast<double>(m_integer);
        const double b = other.is_real() ? other.m_real : static_cast<double>(other.m_integer);
        if (std::isnan(a) || std::isnan(b)) return std::isnan(a) ? (std::isnan(b) ? 0 : 1) : -1;
        return a < b ? -1 : a > b ? 1 : 0;
    }
    bool equal_to(const cf_object_t& other) const override {
        return compare(static_cast<const cf_number_t&>(other)) == 0;
    }
    CFHashCode hash() const override {
        if (!is_real()) return static_cast<CFHashCode>(m_integer);
        // Integral reals hash like the equal integer.
        if (std::isfinite(m_real) && m_real == std::trunc(m_real) && std::fabs(m_real) < 9.2e18)
            return static_cast<CFHashCode>(static_cast<std::int64_t>(m_real));
        std::uint64_t bits;
        std::memcpy(&bits, &m_real, sizeof bits);
        return static_cast<CFHashCode>(bits);
    }
    std::string description() const override { return is_real() ? std::to_string(m_real) : std::to_string(m_integer); }

private:
    const CFNumberType m_type;
    const std::int64_t m_integer;
    const double m_real;
};

template <class T>
bool store_integer(std::int64_t value, void* out) {
    const T converted = static_cast<T>(value);
    std::memcpy(out, &converted, sizeof converted);
    return static_cast<std::int64_t>(converted) == value;
}

template <class T>
bool store_real_as_integer(double value, void* out) {
    // Out-of-range values are clamped, NaN becomes 0; either way the conversion is lossy.
    T converted;
    if (std::isnan(value)) {
        converted = 0;
    } else if (value <= static_cast<double>(std::numeric_limits<T>::min())) {
        converted = std::numeric_limits<T>::min();
    } else if (value >= static_cast<double>(std::numeric_limits<T>::max())) {
        converted = std::numeric_limits<T>::max();
    } else {
        converted = static_cast<T>(value);
    }
    std::memcpy(out, &converted, sizeof converted);
    return static_cast<double>(converted) == value;
}

CFNumberRef make_constant_number(double value) {
    auto* number = new cf_number_t(kCFNumberFloat64Type, 0, value);
    number->make_constant();
    return cf_ref<CFNumberRef>(number);
}

}  // namespace

const CFBooleanRef kCFBooleanTrue = cf_ref<CFBooleanRef>(new cf_boolean_t(true));
const CFBooleanRef kCFBooleanFalse = cf_ref<CFBooleanRef>(new cf_boolean_t(false));

const CFNumberRef kCFNumberPositiveInfinity = make_constant_number(std::numeric_limits<double>::infinity());
const CFNumberRef kCFNumberNegativeInfinity = make_constant_number(-std::numeric_limits<double>::infinity());
const CFNumberRef kCFNumberNaN = make_constant_number(std::numeric_limits<double>::quiet_NaN());

CFTypeID CFBooleanGetTypeID(void) {
    return cf_boolean_t::class_type_id();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    const cf_boolean_t* value = cf_cast<cf_boolean_t>(boolean);
    return value != nullptr && value->value();
}

CFTypeID CFNumberGetTypeID(void) {
    return cf_number_t::class_type_id();
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
    const CFNumberType canonical = canonical_type(theType);
    if (canonical == 0 || valuePtr == nullptr) return nullptr;
    std::int64_t integer = 0;
    double real = 0;
    switch (theType) {
        case kCFNumberSInt8Type: {
            std::int8_t v;
            std::memcpy(&v, valuePtr, sizeof v);
            integer = v;
            break;
        }
        case kCFNumberCharType: {
            char v;
            std::memcpy(&v, valuePtr, sizeof v);
            integer = v;
            break;
        }
        case kCFNumberSInt16Type:
        case kCFNumberShortType: {
            std::int16_t v;
            std::memcpy(&v, valuePtr, sizeof v);
            integer = v;
            break;
        }
        case kCFNumberSInt32Type:
        case kCFNumberIntType: {
            std::int32_t v;
            std::memcpy(&v, valuePtr, sizeof v);
            integer = v;
            break;
        }
        case kCFNumberFloat32Type:
        case kCFNumberFloatType: {
            float v;
            std::memcpy(&v, valuePtr, sizeof v);
            real = v;
            break;
        }
        case kCFNumberFloat64Type:
        case kCFNumberDoubleType:
        case kCFNumberCGFloatType: {
            std::memcpy(&real, valuePtr, sizeof real);
            break;
        }
        default: {
            std::memcpy(&integer, valuePtr, sizeof integer);
            break;
        }
    }
    return cf_ref<CFNumberRef>(new cf_number_t(canonical, integer, real));
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    const cf_number_t* value = cf_cast<cf_number_t>(number);
    return value != nullptr ? value->type() : 0;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
    const cf_number_t* value = cf_cast<cf_number_t>(number);
    return value != nullptr ? byte_size(value->type()) : 0;
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    const cf_number_t* value = cf_cast<cf_number_t>(number);
    return value != nullptr && value->is_real();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
    const cf_number_t* value = cf_cast<cf_number_t>(number);
    const CFNumberType wanted = canonical_type(theType);
    if (value == nullptr || wanted == 0 || valuePtr == nullptr) return false;
    if (is_float(wanted)) {
        const double real = value->is_real() ? value->real() : static_cast<double>(value->integer());
        if (wanted == kCFNumberFloat32Type) {
            const float f = static_cast<float>(real);
            std::memcpy(valuePtr, &f, sizeof f);
            return static_cast<double>(f) == real || std::isnan(real);
        }
        std::memcpy(valuePtr, &real, sizeof real);
        // Integers beyond 2^53 do not all survive the trip through a double.
        return value->is_real() || (std::fabs(real) < 9.2e18 && static_cast<std::int64_t>(real) == value->integer());
    }
    if (value->is_real()) {
        switch (wanted) {
            case kCFNumberSInt8Type:
                return store_real_as_integer<std::int8_t>(value->real(), valuePtr);
            case kCFNumberSInt16Type:
                return store_real_as_integer<std::int16_t>(value->real(), valuePtr);
            case kCFNumberSInt32Type:
                return store_real_as_integer<std::int32_t>(value->real(), valuePtr);
            default:
                return store_real_as_integer<std::int64_t>(value->real(), valuePtr);
        }
    }
    switch (wanted) {
        case kCFNumberSInt8Type:
            return store_integer<std::int8_t>(value->integer(), valuePtr);
        case kCFNumberSInt16Type:
            return store_integer<std::int16_t>(value->integer(), valuePtr);
        case kCFNumberSInt32Type:
            return store_integer<std::int32_t>(value->integer(), valuePtr);
        default:
            return store_integer<std::int64_t>(value->integer(), valuePtr);
    }
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*) {
    const cf_number_t* a = cf_cast<cf_number_t>(number);
    const cf_number_t* b = cf_cast<cf_number_t>(otherNumber);
    if (a == nullptr || b == nullptr) cf_fatal("CFNumberCompare called with something that is not a number");
    const int result = a->compare(*b);
    return result < 0 ? kCFCompareLessThan : result > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
