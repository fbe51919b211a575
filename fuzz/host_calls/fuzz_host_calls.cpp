// Host calls: a fresh plug-in instance from its factory, driven through its function table by a
// sequence of calls decoded from the input, as a hostile or careless host might make them: object
// ids (published, the plug-in's own, any), selectors (known and any), scopes, elements,
// qualifiers, data sizes 0 to 64 with a buffer or none, with or without a used-size pointer,
// format descriptions of every subtype and size (or null), start and stop with right and wrong
// ids, queue requests with and without an out pointer, Initialize and Teardown in any order.
//
// Checked on every call: the status is one the host interface defines, a successful read writes
// no more than the data size (a guard region follows the buffer) and reports a used size within
// it, nothing is written when the buffer is null, and the size a read reports is the size query's.
// After Teardown and the last Release no Core Foundation object made by the instance is alive.
#include <CoreFoundation/CFArray.h>
#include <CoreMedia/CMFormatDescription.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <zav_platform/probe.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_check.h"

extern "C" void* cmioZAVPluginMain(CFAllocatorRef allocator, CFUUIDRef requested_type);

namespace {

constexpr std::size_t max_calls = 48;
constexpr UInt32 max_data = 64;
constexpr std::size_t guard_bytes = 64;
constexpr uint8_t guard = 0x5a;

bool is_defined_status(OSStatus status) {
    switch (status) {
        case kCMIOHardwareNoError:
        case kCMIOHardwareNotStoppedError:
        case kCMIOHardwareNotRunningError:
        case kCMIOHardwareUnspecifiedError:
        case kCMIOHardwareUnknownPropertyError:
        case kCMIOHardwareBadPropertySizeError:
        case kCMIOHardwareIllegalOperationError:
        case kCMIOHardwareBadObjectError:
        case kCMIOHardwareBadDeviceError:
        case kCMIOHardwareBadStreamError:
        case kCMIOHardwareUnsupportedOperationError:
        case kCMIOHardwareSuspendedBySystemError:
        case kCMIODeviceUnsupportedFormatError:
        case kCMIODevicePermissionsError:
            return true;
        default:
            return false;
    }
}

void check_status(OSStatus status) {
    fuzz_check(is_defined_status(status), "a status outside the defined set");
}

const CMIOObjectPropertySelector k_selectors[] = {
    kCMIOObjectPropertyClass,
    kCMIOObjectPropertyOwner,
    kCMIOObjectPropertyCreator,
    kCMIOObjectPropertyName,
    kCMIOObjectPropertyManufacturer,
    kCMIOObjectPropertyOwnedObjects,
    kCMIOObjectPropertyListenerAdded,
    kCMIOObjectPropertyListenerRemoved,
    kCMIOPlugInPropertyBundleID,
    kCMIODevicePropertyPlugIn,
    kCMIODevicePropertyDeviceUID,
    kCMIODevicePropertyModelUID,
    kCMIODevicePropertyTransportType,
    kCMIODevicePropertyDeviceIsAlive,
    kCMIODevicePropertyDeviceHasChanged,
    kCMIODevicePropertyDeviceIsRunning,
    kCMIODevicePropertyDeviceIsRunningSomewhere,
    kCMIODevicePropertyDeviceCanBeDefaultDevice,
    kCMIODevicePropertyHogMode,
    kCMIODevicePropertyLatency,
    kCMIODevicePropertyStreams,
    kCMIODevicePropertyStreamConfiguration,
    kCMIODevicePropertyExcludeNonDALAccess,
    kCMIODevicePropertyDeviceMaster,
    kCMIODevicePropertySuspendedByUser,
    kCMIODevicePropertyLocation,
    kCMIODevicePropertyLinkedCoreAudioDeviceUID,
    kCMIOStreamPropertyDirection,
    kCMIOStreamPropertyTerminalType,
    kCMIOStreamPropertyStartingChannel,
    kCMIOStreamPropertyLatency,
    kCMIOStreamPropertyFormatDescription,
    kCMIOStreamPropertyFormatDescriptions,
    kCMIOStreamPropertyFrameRate,
    kCMIOStreamPropertyFrameRates,
    kCMIOStreamPropertyFrameRateRanges,
    kCMIOStreamPropertyMinimumFrameRate,
    kCMIOStreamPropertyClock,
    kCMIOStreamPropertyNoDataTimeoutInMSec,
    kCMIOStreamPropertyDeviceSyncTimeoutInMSec,
    kCMIOStreamPropertyNoDataEventCount,
    kCMIOStreamPropertyEndOfData,
    kCMIOStreamPropertyStillImage,
    kCMIOStreamPropertyStillImageFormatDescriptions,
    kCMIOStreamPropertyPreferredFormatDescription,
    kCMIOStreamPropertyPreferredFrameRate,
    kCMIOStreamPropertyOutputBufferQueueSize,
    kCMIOStreamPropertyOutputBufferRepeatCount,
    kCMIOStreamPropertyOutputBufferUnderrunCount,
};

const CMIOObjectPropertyScope k_scopes[] = {kCMIOObjectPropertyScopeGlobal, kCMIODevicePropertyScopeInput,
                                            kCMIODevicePropertyScopeOutput, kCMIOObjectPropertyScopeWildcard};

// A format description of a subtype and size from the input, or none.
CMFormatDescriptionRef make_format(FuzzedDataProvider& input) {
    const CMVideoCodecType subtype = input.PickValueInArray<CMVideoCodecType>(
        {kCMPixelFormat_422YpCbCr8, kCMPixelFormat_32BGRA, kCMPixelFormat_32ARGB, 0, 0x61766331 /* 'avc1' */});
    const int32_t width = input.PickValueInArray<int32_t>({1280, 1920, 640, 0, -2, 1, 3, 8192, 8194});
    const int32_t height = input.PickValueInArray<int32_t>({720, 1080, 480, 0, -2, 1, 3, 8192, 8194});
    CMVideoFormatDescriptionRef format = nullptr;
    if (CMVideoFormatDescriptionCreate(kCFAllocatorDefault, subtype, width, height, nullptr, &format) != noErr)
        return nullptr;
    return format;
}

class session_t {
public:
    session_t(CMIOHardwarePlugInRef ref, FuzzedDataProvider& input) : m_ref(ref), m_input(input) {}

    void run() {
        for (std::size_t i = 0; i < max_calls && m_input.remaining_bytes() > 0; ++i) one_call();
        check_status((*m_ref)->Teardown(m_ref));
    }

private:
    CMIOObjectID pick_id() {
        const auto created = zav_platform::probe::created_objects();
        switch (m_input.ConsumeIntegralInRange<int>(0, 3)) {
            case 0:
            case 1:
                if (!created.empty())
                    return created[m_input.ConsumeIntegralInRange<std::size_t>(0, created.size() - 1)].object_id;
                return kCMIOObjectUnknown;
            case 2:
                return m_plugin_id;
            default:
                return m_input.ConsumeIntegral<CMIOObjectID>();
        }
    }
    CMIOObjectPropertyAddress pick_address() {
        CMIOObjectPropertyAddress address{};
        address.mSelector = m_input.ConsumeBool() ? m_input.PickValueInArray(k_selectors)
                                                  : m_input.ConsumeIntegral<CMIOObjectPropertySelector>();
        address.mScope = m_input.ConsumeBool() ? kCMIOObjectPropertyScopeGlobal : m_input.PickValueInArray(k_scopes);
        address.mElement = m_input.ConsumeBool() ? kCMIOObjectPropertyElementMaster
                                                 : m_input.ConsumeIntegral<CMIOObjectPropertyElement>();
        return address;
    }

    void one_call() {
        const CMIOObjectID id = pick_id();
        const CMIOObjectPropertyAddress address = pick_address();
        std::vector<uint8_t> qualifier = m_input.ConsumeBytes<uint8_t>(m_input.ConsumeIntegralInRange<int>(0, 8));
        const UInt32 qualifier_size = UInt32(qualifier.size());
        const void* p_qualifier = qualifier.empty() ? nullptr : qualifier.data();
        switch (m_input.ConsumeIntegralInRange<int>(0, 12)) {
            case 0:
                m_plugin_id = m_input.ConsumeIntegral<CMIOObjectID>();
                check_status(m_input.ConsumeBool() ? (*m_ref)->Initialize(m_ref)
                                                   : (*m_ref)->InitializeWithObjectID(m_ref, m_plugin_id));
                break;
            case 1:
                check_status((*m_ref)->Teardown(m_ref));
                break;
            case 2:
                (*m_ref)->ObjectShow(m_ref, id);
                (void)(*m_ref)->ObjectHasProperty(m_ref, id, &address);
                break;
            case 3: {
                Boolean settable = 7;
                check_status((*m_ref)->ObjectIsPropertySettable(m_ref, id, &address,
                                                                m_input.ConsumeBool() ? &settable : nullptr));
                break;
            }
            case 4: {
                UInt32 size = 0xdeadbeef;
                check_status((*m_ref)->ObjectGetPropertyDataSize(m_ref, id, &address, qualifier_size, p_qualifier,
                                                                 m_input.ConsumeBool() ? &size : nullptr));
                break;
            }
            case 5:
            case 6:
                get_data(id, address, qualifier_size, p_qualifier);
                break;
            case 7:
                set_data(id, address, qualifier_size, p_qualifier);
                break;
            case 8:
                check_status((*m_ref)->DeviceStartStream(m_ref, pick_id(), pick_id()));
                break;
            case 9:
                check_status((*m_ref)->DeviceStopStream(m_ref, pick_id(), pick_id()));
                break;
            case 10: {
                CMSimpleQueueRef queue = nullptr;
                const bool want_queue = m_input.ConsumeBool();
                const OSStatus status =
                    (*m_ref)->StreamCopyBufferQueue(m_ref, id, nullptr, nullptr, want_queue ? &queue : nullptr);
                check_status(status);
                if (queue) CFRelease(queue);
                break;
            }
            case 11:
                check_status(m_input.ConsumeBool() ? (*m_ref)->DeviceSuspend(m_ref, id)
                                                   : (*m_ref)->DeviceResume(m_ref, id));
                break;
            default:
                check_status((*m_ref)->StreamDeckPlay(m_ref, id));
                check_status((*m_ref)->StreamDeckStop(m_ref, id));
                break;
        }
    }

    void get_data(CMIOObjectID id, const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                  const void* p_qualifier) {
        const UInt32 data_size = m_input.ConsumeIntegralInRange<UInt32>(0, max_data);
        const bool with_buffer = m_input.ConsumeBool();
        const bool with_used = m_input.ConsumeBool();
        std::vector<uint8_t> buffer(max_data + guard_bytes, guard);
        constexpr UInt32 unwritten = 0xdeadbeef;
        UInt32 used = unwritten;
        const OSStatus status =
            (*m_ref)->ObjectGetPropertyData(m_ref, id, &address, qualifier_size, p_qualifier, data_size,
                                            with_used ? &used : nullptr, with_buffer ? buffer.data() : nullptr);
        check_status(status);
        fuzz_check(std::all_of(buffer.begin() + data_size, buffer.end(), [](uint8_t b) { return b == guard; }),
                   "a read wrote past the data size");
        if (!with_buffer)
            fuzz_check(std::all_of(buffer.begin(), buffer.end(), [](uint8_t b) { return b == guard; }),
                       "a read wrote into a buffer it was not given");
        const bool listener_notice = address.mSelector == kCMIOObjectPropertyListenerAdded ||
                                     address.mSelector == kCMIOObjectPropertyListenerRemoved;
        if (status == kCMIOHardwareNoError && listener_notice) {
            // Answered without a value and without a size.
            fuzz_check(used == unwritten, "a listener notice wrote a used size");
            fuzz_check(std::all_of(buffer.begin(), buffer.end(), [](uint8_t b) { return b == guard; }),
                       "a listener notice wrote a value");
            return;
        }
        if (status == kCMIOHardwareNoError && with_used)
            fuzz_check(used != unwritten, "a successful read without its used size");
        if (with_used && (status == kCMIOHardwareNoError || status == kCMIOHardwareBadPropertySizeError))
            check_agrees_with_size_query(id, address, qualifier_size, p_qualifier, status, data_size, with_buffer,
                                         used);
        if (status == kCMIOHardwareNoError && with_used && with_buffer && used > data_size) {
            std::fprintf(stderr, "object %u selector %08x scope %08x: %u bytes used of %u\n", unsigned(id),
                         unsigned(address.mSelector), unsigned(address.mScope), unsigned(used), unsigned(data_size));
            fuzz_check(false, "a used size beyond the data size");
        }
        // Properties that hand out Core Foundation references give the caller one of its own,
        // whether or not it asked for the used size.
        if (status == kCMIOHardwareNoError && with_buffer && data_size == sizeof(CFTypeRef) &&
            returns_reference(address.mSelector)) {
            CFTypeRef p_object = nullptr;
            std::memcpy(&p_object, buffer.data(), sizeof p_object);
            // The format list's array holds its description without retaining it; the one
            // retain the description carries is the caller's too.
            if (p_object && address.mSelector == kCMIOStreamPropertyFormatDescriptions) {
                const auto array = static_cast<CFArrayRef>(p_object);
                fuzz_check(CFArrayGetCount(array) == 1, "a format list without exactly one format");
                CFRelease(CFArrayGetValueAtIndex(array, 0));
            }
            if (p_object) CFRelease(p_object);
        }
    }

    // A read reports the same size as the size query for the same address and qualifier, whether
    // it succeeded or was refused for its data size, and a value of fixed size is read only with
    // exactly that data size. The owned-objects list is the exception: its size is the number of
    // children a query counts, while a read stops at the buffer's capacity.
    void check_agrees_with_size_query(CMIOObjectID id, const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                                      const void* p_qualifier, OSStatus status, UInt32 data_size, bool with_buffer,
                                      UInt32 used) {
        if (address.mSelector == kCMIOObjectPropertyOwnedObjects) return;
        UInt32 size = 0;
        const OSStatus query =
            (*m_ref)->ObjectGetPropertyDataSize(m_ref, id, &address, qualifier_size, p_qualifier, &size);
        if (query != kCMIOHardwareNoError) {
            report(id, address, "read answered, size query refused", used, data_size);
            fuzz_check(false, "a property read answered where its size query was refused");
        }
        if (used != size) {
            report(id, address, "used size differs from the size query", used, size);
            fuzz_check(false, "a read's used size differs from the size query");
        }
        if (!with_buffer) return;
        // A property with nothing to say (the device's stream list outside the input scope, or
        // before the stream has an id) answers with size 0 and takes any data size.
        if (status == kCMIOHardwareNoError && data_size != size && size != 0) {
            report(id, address, "read with a data size other than the value's", size, data_size);
            fuzz_check(false, "a fixed-size value read with another data size");
        }
        if (status == kCMIOHardwareBadPropertySizeError && data_size == size) {
            report(id, address, "read with the value's size refused", size, data_size);
            fuzz_check(false, "a read with the size the query gave refused for its size");
        }
    }

    static void report(CMIOObjectID id, const CMIOObjectPropertyAddress& address, const char* what, UInt32 a,
                       UInt32 b) {
        std::fprintf(stderr, "object %u selector %08x scope %08x: %s (%u, %u)\n", unsigned(id),
                     unsigned(address.mSelector), unsigned(address.mScope), what, unsigned(a), unsigned(b));
    }

    // The frame rates are values (a 64-bit float, a range of two), not references.
    static bool returns_reference(CMIOObjectPropertySelector selector) {
        switch (selector) {
            case kCMIOObjectPropertyName:
            case kCMIOObjectPropertyManufacturer:
            case kCMIOPlugInPropertyBundleID:
            case kCMIODevicePropertyDeviceUID:
            case kCMIODevicePropertyModelUID:
            case kCMIODevicePropertyLinkedCoreAudioDeviceUID:
            case kCMIOStreamPropertyFormatDescription:
            case kCMIOStreamPropertyFormatDescriptions:
            case kCMIOStreamPropertyClock:
            case kCMIOStreamPropertyStillImageFormatDescriptions:
            case kCMIOStreamPropertyPreferredFormatDescription:
                return true;
            default:
                return false;
        }
    }

    void set_data(CMIOObjectID id, const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                  const void* p_qualifier) {
        std::vector<uint8_t> data(max_data, 0);
        CMFormatDescriptionRef format = nullptr;
        if (m_input.ConsumeBool()) {
            format = make_format(m_input);
            std::memcpy(data.data(), &format, sizeof format);
        } else {
            const std::vector<uint8_t> bytes = m_input.ConsumeBytes<uint8_t>(max_data);
            std::copy(bytes.begin(), bytes.end(), data.begin());
            // The format's value is a reference: a host hands a description or null, never an
            // arbitrary address (no object of any system survives being given one).
            if (address.mSelector == kCMIOStreamPropertyFormatDescription)
                std::fill(data.begin(), data.begin() + sizeof(CMFormatDescriptionRef), 0);
        }
        const UInt32 data_size =
            m_input.ConsumeBool() ? UInt32(sizeof(void*)) : m_input.ConsumeIntegralInRange<UInt32>(0, max_data);
        check_status((*m_ref)->ObjectSetPropertyData(m_ref, id, &address, qualifier_size, p_qualifier, data_size,
                                                     m_input.ConsumeBool() ? data.data() : nullptr));
        if (format) CFRelease(format);
    }

    CMIOHardwarePlugInRef m_ref;
    FuzzedDataProvider& m_input;
    CMIOObjectID m_plugin_id = 1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    FuzzedDataProvider input(p_data, size);
    zav_platform::probe::clear_records();
    const std::size_t live_at_start = zav_platform::probe::live_object_count();
    auto ref = static_cast<CMIOHardwarePlugInRef>(cmioZAVPluginMain(kCFAllocatorDefault, kCMIOHardwarePlugInTypeID));
    fuzz_check(ref != nullptr, "the factory made no instance");
    session_t(ref, input).run();
    fuzz_check((*ref)->Release(ref) == 0, "the last release left the instance alive");
    if (zav_platform::probe::live_object_count() != live_at_start) {
        for (const auto& [type, count] : zav_platform::probe::live_objects_by_type())
            std::fprintf(stderr, "alive: %s x %zu\n", type.c_str(), std::size_t(count));
        fuzz_check(false, "Core Foundation objects alive after Teardown and Release");
    }
    // What this input recorded is freed within it: libFuzzer runs a whole leak scan after every
    // input whose allocations and frees do not balance, which would cost more than the input.
    zav_platform::probe::clear_records();
    return 0;
}
