// Objects in the host: the base properties and their size rules, the owned-objects walk with its scope and
// class filters, and creation, publishing, withdrawal and change notices in the host.
#include "host/cmio_object.h"
#include "host/string_utils.h"

#include "cf_leak_fixture.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using namespace zav_test;
using Drivers::Mac::ZAV::fourCC_to_string;
using Drivers::Mac::ZAV::VirtualCamera::cmio_object_t;
using base_t = Drivers::Mac::ZAV::object_base_t<CMIOObjectPropertyAddress>;
namespace probe = zav_platform::probe;
using probe::failing_call_t;
using filter_t = std::vector<CMIOClassID>;
using ids_t = std::vector<CMIOObjectID>;
using call_t = std::tuple<CMIOObjectID, ids_t, ids_t>;  // owner, published, died

constexpr UInt32 k_untouched = 0xA5A5A5A5;
constexpr OSStatus k_host_failure = kCMIOHardwareIllegalOperationError;
constexpr CMIOObjectID k_system = kCMIOObjectSystemObject;
constexpr CMIOObjectPropertyScope k_global = kCMIOObjectPropertyScopeGlobal;
const std::string k_called = "get_property for kCMIOObjectPropertyOwnedObjects called on adev";
std::string excluded(const char* scope) {
    return k_called + " with scope " + scope + " excluding item";
}
std::string filtered(const char* class_id) {
    return k_called + " for " + class_id;
}

class test_object_t : public cmio_object_t {
public:
    test_object_t(CMIOClassID class_id, cmio_object_t* owner, CMIOObjectPropertyScope scope = k_global)
        : cmio_object_t(class_id, owner), m_scope(scope) {}
    test_object_t(CMIOClassID class_id, CMIOHardwarePlugInRef plugin_ref)
        : cmio_object_t(class_id, plugin_ref), m_scope(k_global) {}

    CMIOObjectPropertyScope get_scope() const override { return m_scope; }
    // Stands in for the host's id assignment where the host is not what is tested.
    void set_object_id(CMIOObjectID object_id) { m_object_id = object_id; }
    std::list<base_t*> owned_objects() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_owned_objects;
    }

private:
    const CMIOObjectPropertyScope m_scope;
};

CMIOObjectPropertyAddress address_of(CMIOObjectPropertySelector selector, CMIOObjectPropertyScope scope = k_global) {
    return CMIOObjectPropertyAddress{selector, scope, 0};  // element 0 is the main element
}

// Any distinct address serves as the plug-in reference: objects only pass it to the host.
CMIOHardwarePlugInRef fake_plugin_ref() {
    static CMIOHardwarePlugInInterface* table = nullptr;
    return &table;
}

std::vector<call_t> published_and_died() {
    std::vector<call_t> calls;
    for (const auto& call : probe::published_and_died()) calls.emplace_back(call.owner_id, call.published, call.died);
    return calls;
}

class object_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{kCMIODeviceClassID, fake_plugin_ref()};
    test_object_t m_stream{kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput};
};

class owned_objects_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{'adev', fake_plugin_ref()};

    // Bytes the size query reports; the qualifier size defaults to the whole filter.
    UInt32 owned_size(CMIOObjectPropertyScope scope, const filter_t& filter, UInt32 qualifier_size = ~0u) {
        if (qualifier_size == ~0u) qualifier_size = UInt32(filter.size() * sizeof(CMIOClassID));
        UInt32 used = 0xFFFFFFFF;
        EXPECT_EQ(m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects, scope), qualifier_size,
                                        filter.empty() ? nullptr : filter.data(), 0, &used, nullptr),
                  0);
        return used;
    }
};

TEST_F(object_test, fixed_sizes_are_reported_and_every_other_size_is_refused) {
    // The call line is written first by every get_property call for the property.
    const struct {
        CMIOObjectPropertySelector selector;
        UInt32 size;
        lines_t call_line;
    } properties[] = {
        {kCMIOObjectPropertyClass, 4, {"get_property for kObjectPropertyClass"}},
        {kCMIOObjectPropertyOwner, 4, {"get_property for kObjectPropertyOwner"}},
        {kCMIOObjectPropertyManufacturer, 8, {}},
    };
    for (const auto& property : properties) {
        SCOPED_TRACE(fourCC_to_string(property.selector));
        // A size query, with and without a used-size pointer, makes no value.
        clear_log();
        UInt32 used = k_untouched;
        EXPECT_EQ(m_stream.get_property(address_of(property.selector), 0, nullptr, 0, &used, nullptr), 0);
        EXPECT_EQ(used, property.size);
        EXPECT_EQ(m_stream.get_property(address_of(property.selector), 0, nullptr, 0, nullptr, nullptr), 0);
        EXPECT_EQ(objects_created_since_start(), 0);
        lines_t lines = property.call_line;
        lines.insert(lines.end(), property.call_line.begin(), property.call_line.end());
        EXPECT_EQ(log_messages(), lines);

        for (UInt32 wrong_size : {0u, 1u, property.size - 1, property.size + 1, property.size * 2, 4096u}) {
            SCOPED_TRACE(wrong_size);
            clear_log();
            std::vector<unsigned char> buffer(4096, 0xA5);
            used = k_untouched;
            const auto address = address_of(property.selector);
            EXPECT_EQ(m_stream.get_property(address, 0, nullptr, wrong_size, &used, buffer.data()),
                      kCMIOHardwareBadPropertySizeError);
            EXPECT_EQ(used, property.size);
            EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0xA5), 4096) << "nothing written";
            lines = property.call_line;
            lines.push_back("Bad arguments to get_property_helper");
            EXPECT_EQ(log_messages(), lines);
            EXPECT_EQ(objects_created_since_start(), 0);
        }
    }
}

TEST_F(object_test, class_owner_and_manufacturer_values) {
    m_device.set_object_id(42);
    // The owner of an object without owner is the system object.
    const std::tuple<base_t*, CMIOObjectPropertySelector, UInt32> cases[] = {
        {&m_stream, kCMIOObjectPropertyClass, 'astr'},
        {&m_stream, kCMIOObjectPropertyOwner, 42},
        {&m_device, kCMIOObjectPropertyOwner, 1}};
    for (const auto& [object, selector, expected] : cases) {
        UInt32 value = 0, used = 0;
        EXPECT_EQ(object->get_property(address_of(selector), 0, nullptr, 4, &used, &value), 0);
        EXPECT_EQ(std::make_pair(value, used), std::make_pair(expected, 4u)) << fourCC_to_string(selector);
    }
    // The manufacturer is a new string for the caller on every answer; the used-size pointer is optional.
    clear_log();
    CFStringRef first = nullptr, second = nullptr;
    ASSERT_EQ(m_stream.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &first), 0);
    ASSERT_EQ(m_stream.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &second), 0);
    ASSERT_TRUE(first != nullptr && second != nullptr && first != second);
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_TRUE(CFEqual(first, CFSTR("Mivora")) && CFEqual(second, CFSTR("Mivora")));
    CFRelease(first);
    CFRelease(second);
    EXPECT_TRUE(log_messages().empty());
}

// How the base answers a selector of each kind: has it, settable or not, a value to read, and
// the line it logs when it does not know the selector.
enum class selector_kind_t { listener, read_only, unknown };

class selector_kind_test : public object_test {
protected:
    void check(CMIOObjectPropertySelector selector, selector_kind_t kind) {
        const std::string name = fourCC_to_string(selector);
        SCOPED_TRACE(name);
        clear_log();
        Boolean settable = kind != selector_kind_t::listener;
        EXPECT_EQ(m_stream.has_property(address_of(selector), settable), kind != selector_kind_t::unknown);
        EXPECT_EQ(settable, kind == selector_kind_t::listener);
        lines_t lines;
        if (kind != selector_kind_t::read_only) {  // answered without a value, not even a size, or refused
            UInt32 used = k_untouched;
            UInt64 value = k_untouched;
            EXPECT_EQ(m_stream.get_property(address_of(selector), 0, nullptr, 8, &used, &value),
                      kind == selector_kind_t::listener ? 0 : kCMIOHardwareUnknownPropertyError);
            EXPECT_TRUE(used == k_untouched && value == k_untouched);
            if (kind == selector_kind_t::unknown)
                lines = {"has_property : unkwown property " + name, "get_property : unkwown property " + name};
        }
        const CMIOObjectPropertyAddress listened = address_of(kCMIOObjectPropertyName);
        bool changed = true;
        EXPECT_EQ(m_stream.set_property(address_of(selector), 0, nullptr, sizeof(listened), &listened, changed),
                  kind == selector_kind_t::listener ? 0 : kCMIOHardwareUnknownPropertyError);
        EXPECT_FALSE(changed) << "cleared first";
        if (kind != selector_kind_t::listener) lines.push_back("set_property : unkwown property " + name);
        EXPECT_EQ(log_messages(), lines);
    }
};

TEST_F(selector_kind_test, listener_notices_are_settable_and_have_no_value) {
    check(kCMIOObjectPropertyListenerAdded, selector_kind_t::listener);
    check(kCMIOObjectPropertyListenerRemoved, selector_kind_t::listener);
}

TEST_F(selector_kind_test, base_properties_are_read_only) {
    check(kCMIOObjectPropertyClass, selector_kind_t::read_only);
    check(kCMIOObjectPropertyOwner, selector_kind_t::read_only);
    check(kCMIOObjectPropertyOwnedObjects, selector_kind_t::read_only);
    check(kCMIOObjectPropertyManufacturer, selector_kind_t::read_only);
}

TEST_F(selector_kind_test, unknown_selectors_are_refused_with_a_line_each) {
    check(kCMIOObjectPropertyName, selector_kind_t::unknown);  // answered by each derived class, never by the base
    check('zzzz', selector_kind_t::unknown);
}

TEST(object_base_entries_test, plain_base_entries_answer_without_a_published_check) {
    // Objects that are not host objects (the plug-in itself) use the base entries directly.
    base_t plugin_object('aplg', nullptr);
    clear_log();
    EXPECT_TRUE(plugin_object.has_property(address_of(kCMIOObjectPropertyClass)));
    UInt32 size = 0, used = 0;
    CMIOClassID class_id = 0;
    EXPECT_EQ(plugin_object.get_property_data_size(address_of(kCMIOObjectPropertyClass), 0, nullptr, &size), 0);
    EXPECT_EQ(plugin_object.get_property_data(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, &used, &class_id),
              0);
    EXPECT_EQ(std::make_tuple(size, used, class_id), std::make_tuple(4u, 4u, CMIOClassID('aplg')));
    const std::tuple<CMIOObjectPropertySelector, OSStatus, Boolean> settables[] = {
        {kCMIOObjectPropertyClass, 0, false},
        {kCMIOObjectPropertyListenerAdded, 0, true},
        {'zzzz', kCMIOHardwareUnknownPropertyError, false}};
    for (const auto& [selector, status, expected] : settables) {
        Boolean settable = !expected;
        EXPECT_EQ(plugin_object.can_set_property(address_of(selector), &settable), status);
        EXPECT_EQ(settable, expected);
    }
    EXPECT_FALSE(plugin_object.has_property(address_of('zzzz')));
    const std::string get_line = "get_property for kObjectPropertyClass";
    const std::string has_line = "has_property : unkwown property zzzz";
    EXPECT_EQ(log_messages(), (lines_t{get_line, get_line, has_line, has_line}));

    // Only host objects can report changes.
    clear_log();
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyName);
    EXPECT_FALSE(plugin_object.changed_properties(1, &address));
    EXPECT_EQ(log_messages(), lines_t{"object_base_t::changed_properties illegally called!"});

    // The owned-objects walk covers the other class matches; class 0 matches only the generic class.
    EXPECT_TRUE(base_t(kCMIOObjectClassID, nullptr).is_class(0));
    EXPECT_FALSE(base_t('astr', nullptr).is_class(0));
}

TEST_F(owned_objects_test, fetch_with_a_buffer_stops_at_the_first_match_without_storing) {
    // Kept as the walk has always behaved: the reversed capacity test stores nothing, reports 0 bytes.
    test_object_t first(kCMIOStreamClassID, &m_device), second(kCMIOStreamClassID, &m_device);
    first.set_object_id(100);
    second.set_object_id(101);
    for (UInt32 buffer_size : {8u, 4u, 0u, 64u}) {
        SCOPED_TRACE(buffer_size);
        clear_log();
        CMIOObjectID ids[16] = {0xEEEEEEEE};
        UInt32 used = 0xFFFFFFFF;
        const auto address = address_of(kCMIOObjectPropertyOwnedObjects);
        EXPECT_EQ(m_device.get_property(address, 0, nullptr, buffer_size, &used, ids), 0);
        EXPECT_EQ(used, 0u);
        EXPECT_EQ(ids[0], 0xEEEEEEEE);
        EXPECT_EQ(log_messages(),
                  (lines_t{k_called, "get_property for kCMIOObjectPropertyOwnedObjects insufficient capacity"}));
    }
}

TEST_F(owned_objects_test, scope_is_checked_first_then_each_filter_entry_until_one_matches) {
    test_object_t input(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput);
    test_object_t output(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeOutput);
    test_object_t control(kCMIOControlClassID, &m_device);
    test_object_t generic(kCMIOObjectClassID, &m_device);  // matches every filter, is matched by none but its own
    const std::string in = excluded("inpt"), out = excluded("outp"), none = filtered("none"), actl = filtered("actl");
    const struct {
        const char* name;
        CMIOObjectPropertyScope scope;
        filter_t filter;
        UInt32 qualifier_size;  // ~0u: the whole filter
        UInt32 size;
        lines_t lines;
    } cases[] = {
        {"global scope, no filter", k_global, {}, ~0u, 16, lines_t(4, k_called)},
        {"input scope", kCMIODevicePropertyScopeInput, {}, ~0u, 4, {k_called, in, in, in}},
        {"output scope", kCMIODevicePropertyScopeOutput, {}, ~0u, 4, {out, k_called, out, out}},
        {"input scope, streams",
         kCMIODevicePropertyScopeInput,
         {kCMIOStreamClassID},
         ~0u,
         4,
         {filtered("astr"), in, in, in}},
        {"streams", k_global, {kCMIOStreamClassID}, ~0u, 12, lines_t(4, filtered("astr"))},
        {"unknown class, then controls",
         k_global,
         {'none', kCMIOControlClassID},
         ~0u,
         8,
         {none, actl, none, actl, none, actl, none}},
        {"generic objects", k_global, {kCMIOObjectClassID}, ~0u, 4, lines_t(4, filtered("aobj"))},
        {"unknown class", k_global, {'none'}, ~0u, 4, lines_t(4, none)},
        // The filter needs one whole entry and its data; a partial second entry is ignored.
        {"qualifier shorter than one entry", k_global, {kCMIOStreamClassID}, 3, 16, lines_t(4, k_called)},
        {"qualifier without data", k_global, {}, 4, 16, lines_t(4, k_called)},
        {"qualifier with a partial second entry",
         k_global,
         {kCMIOStreamClassID, kCMIOControlClassID},
         7,
         12,
         lines_t(4, filtered("astr"))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        clear_log();
        EXPECT_EQ(owned_size(c.scope, c.filter, c.qualifier_size), c.size);
        EXPECT_EQ(log_messages(), c.lines);
    }
    // The published entry answers through the same walk.
    ASSERT_TRUE(m_device.cmio_object_create());
    ASSERT_TRUE(m_device.publish());
    UInt32 size = 0;
    const CMIOClassID stream_class = kCMIOStreamClassID;
    EXPECT_EQ(m_device.get_property_data_size(address_of(kCMIOObjectPropertyOwnedObjects), 4, &stream_class, &size), 0);
    EXPECT_EQ(size, 12u);
    EXPECT_TRUE(m_device.unpublish());
}

TEST_F(owned_objects_test, children_join_the_list_in_order_and_leave_it_on_destruction) {
    test_object_t stream(kCMIOStreamClassID, &m_device);
    auto control = std::make_unique<test_object_t>(kCMIOControlClassID, &m_device);
    test_object_t control_of_stream(kCMIOControlClassID, &stream);
    test_object_t second_stream(kCMIOStreamClassID, &m_device);
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{&stream, control.get(), &second_stream}));
    EXPECT_EQ(control_of_stream.get_owner(), &stream);
    EXPECT_EQ(control_of_stream.get_plugin_ref(), fake_plugin_ref()) << "the plug-in reference comes from the owner";
    control.reset();
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{&stream, &second_stream}));
}

TEST_F(owned_objects_test, find_object_searches_downwards_depth_first) {
    test_object_t stream(kCMIOStreamClassID, &m_device);
    test_object_t control_of_stream(kCMIOControlClassID, &stream);
    test_object_t second_stream(kCMIOStreamClassID, &m_device);
    m_device.set_object_id(10);
    stream.set_object_id(11);
    control_of_stream.set_object_id(12);
    second_stream.set_object_id(12);  // the same id later in the list: the first one found wins
    EXPECT_EQ(m_device.find_object(10), &m_device);
    EXPECT_EQ(m_device.find_object(11), &stream);
    EXPECT_EQ(m_device.find_object(12), &control_of_stream);
    EXPECT_EQ(m_device.find_object(13), nullptr);
    EXPECT_EQ(stream.find_object(10), nullptr) << "only downwards";
}

// Children join and leave the owner's list from other threads while a host thread walks it.
TEST_F(owned_objects_test, children_come_and_go_while_the_list_is_walked) {
    test_object_t stable(kCMIOStreamClassID, &m_device);
    std::atomic<bool> building{true};
    std::thread walker([this, &building] {
        while (building) {
            const UInt32 size = owned_size(k_global, {kCMIOStreamClassID});
            ASSERT_TRUE(size >= 4 && size <= 12 && size % 4 == 0) << size;
        }
    });
    std::vector<std::thread> builders;
    for (int b = 0; b < 2; ++b)
        builders.emplace_back([this] {
            for (int i = 0; i < 2000; ++i) {
                base_t stream(kCMIOStreamClassID, &m_device);
                base_t control(kCMIOControlClassID, &m_device);
            }
        });
    for (std::thread& builder : builders) builder.join();
    building = false;
    walker.join();
    EXPECT_EQ(m_device.owned_objects(), std::list<base_t*>{&stable});
}

TEST_F(object_test, created_once_under_the_owners_id_then_published_and_withdrawn_under_the_owner) {
    // Without an id there is nothing to publish or withdraw.
    EXPECT_FALSE(m_device.publish());
    EXPECT_FALSE(m_device.is_published());
    EXPECT_TRUE(m_device.unpublish());
    EXPECT_TRUE(probe::published_and_died().empty());
    // A refused create leaves the object without id; it can be created once the host accepts.
    probe::set_failure(failing_call_t::object_create, k_host_failure);
    EXPECT_FALSE(m_device.cmio_object_create());
    EXPECT_EQ(m_device.get_object_id(), 0u);
    probe::clear_failures();

    ASSERT_TRUE(m_device.cmio_object_create());
    ASSERT_TRUE(m_stream.cmio_object_create());
    const CMIOObjectID device_id = m_device.get_object_id(), stream_id = m_stream.get_object_id();
    EXPECT_TRUE(device_id != 0 && stream_id != 0 && device_id != stream_id);
    EXPECT_FALSE(m_device.cmio_object_create()) << "an object is created once";
    EXPECT_EQ(m_device.get_object_id(), device_id);
    using record_t = std::tuple<CMIOObjectID, CMIOClassID, CMIOObjectID>;
    std::vector<record_t> created;
    for (const auto& c : probe::created_objects()) created.emplace_back(c.object_id, c.class_id, c.owner_id);
    EXPECT_EQ(created, (std::vector<record_t>{{device_id, kCMIODeviceClassID, k_system},
                                              {stream_id, kCMIOStreamClassID, device_id}}));

    ASSERT_TRUE(m_stream.publish());
    ASSERT_TRUE(m_device.publish());
    EXPECT_TRUE(m_stream.is_published() && m_device.is_published());
    EXPECT_TRUE(m_stream.unpublish());
    EXPECT_FALSE(m_stream.is_published());
    EXPECT_EQ(m_stream.get_object_id(), 0u) << "the id is forgotten";
    EXPECT_TRUE(m_device.unpublish());
    // The stream is withdrawn while its owner still has its id.
    EXPECT_EQ(published_and_died(), (std::vector<call_t>{{device_id, {stream_id}, {}},
                                                         {k_system, {device_id}, {}},
                                                         {device_id, {}, {stream_id}},
                                                         {k_system, {}, {device_id}}}));
    EXPECT_TRUE(log_messages().empty());
}

// A refused publish is logged and still counts; a refused withdrawal forgets the id silently.
TEST_F(object_test, refused_publishing_and_withdrawal_leave_the_object_consistent) {
    ASSERT_TRUE(m_device.cmio_object_create());
    probe::clear_records();
    probe::set_failure(failing_call_t::objects_published_and_died, k_host_failure);
    EXPECT_FALSE(m_device.publish());
    EXPECT_TRUE(m_device.is_published());
    EXPECT_NE(m_device.get_object_id(), 0u);
    EXPECT_EQ(log_messages(), lines_t{"Unexpected failure to publish a cmio object"});
    clear_log();
    EXPECT_FALSE(m_device.unpublish());
    EXPECT_FALSE(m_device.is_published());
    EXPECT_EQ(m_device.get_object_id(), 0u);
    EXPECT_TRUE(log_messages().empty());
    EXPECT_TRUE(probe::published_and_died().empty());
}

TEST_F(object_test, destroying_a_published_object_withdraws_it_with_a_warning) {
    ASSERT_TRUE(test_object_t(kCMIODeviceClassID, fake_plugin_ref()).cmio_object_create());
    EXPECT_TRUE(log_messages().empty()) << "an unpublished object goes silently";
    EXPECT_TRUE(probe::published_and_died().empty());
    CMIOObjectID device_id = 0;
    {
        test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
        ASSERT_TRUE(device.cmio_object_create() && device.publish());
        device_id = device.get_object_id();
        probe::clear_records();
    }
    EXPECT_EQ(log_messages(), lines_t{"cmio_object_t object should be unpublished before destroyed"});
    EXPECT_EQ(published_and_died(), (std::vector<call_t>{{k_system, {}, {device_id}}}));
}

TEST_F(object_test, entries_refuse_with_their_line_until_published_and_after_withdrawal) {
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyOwner);
    UInt32 size = 0x1234, used = 0x1234;
    CMIOObjectID owner = 0;
    Boolean settable = true;
    const auto expect_refusals = [&] {
        clear_log();
        EXPECT_FALSE(m_device.has_property(address));
        EXPECT_EQ(m_device.get_property_data_size(address, 0, nullptr, &size), kCMIOHardwareUnspecifiedError);
        EXPECT_EQ(m_device.get_property_data(address, 0, nullptr, 4, &used, &owner), kCMIOHardwareUnspecifiedError);
        EXPECT_EQ(m_device.can_set_property(address, &settable), kCMIOHardwareUnspecifiedError);
        EXPECT_TRUE(size == 0x1234 && used == 0x1234 && owner == 0 && settable) << "left alone";
        EXPECT_EQ(log_messages(), (lines_t{"has_property : called when not published stdv",
                                           "get_property_data_size : called when not published stdv",
                                           "get_property_data : called when not published stdv",
                                           "can_set_property : called when not published stdv"}));
    };
    ASSERT_TRUE(m_device.cmio_object_create());  // created but not published
    expect_refusals();
    ASSERT_TRUE(m_device.publish());
    EXPECT_TRUE(m_device.has_property(address));
    EXPECT_EQ(m_device.get_property_data_size(address, 0, nullptr, &size), 0);
    EXPECT_EQ(m_device.get_property_data(address, 0, nullptr, 4, &used, &owner), 0);
    EXPECT_EQ(m_device.can_set_property(address, &settable), 0);
    EXPECT_TRUE(size == 4 && used == 4 && owner == 1 && !settable);
    ASSERT_TRUE(m_device.unpublish());
    size = used = 0x1234, owner = 0, settable = true;
    expect_refusals();  // after withdrawal
}

// Writes and change notices reach the host whether or not the object is published.
TEST_F(object_test, writes_and_change_notices_pass_before_publishing) {
    ASSERT_TRUE(m_device.cmio_object_create());  // created but not published
    clear_log();
    bool changed = true;
    EXPECT_EQ(m_device.set_property(address_of(kCMIOObjectPropertyListenerAdded), 0, nullptr, 0, nullptr, changed), 0);
    EXPECT_FALSE(changed);
    const CMIOObjectPropertyAddress addresses[] = {
        address_of(kCMIOStreamPropertyFrameRate),
        address_of(kCMIOStreamPropertyMinimumFrameRate, kCMIODevicePropertyScopeInput)};
    EXPECT_TRUE(m_device.changed_properties(2, addresses));
    const auto notices = probe::properties_changed();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].object_id, m_device.get_object_id());
    ASSERT_EQ(notices[0].addresses.size(), 2u);
    EXPECT_EQ(std::memcmp(notices[0].addresses.data(), addresses, sizeof(addresses)), 0);
    probe::set_failure(failing_call_t::properties_changed, k_host_failure);
    EXPECT_FALSE(m_device.changed_properties(2, addresses));
    EXPECT_EQ(probe::properties_changed().size(), 1u);
    EXPECT_TRUE(log_messages().empty());
}

}  // namespace
