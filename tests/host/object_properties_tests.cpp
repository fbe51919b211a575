// The properties every object answers through the base hooks, and the size rules they follow.
#include "host/string_utils.h"

#include "test_objects.h"

#include <algorithm>
#include <tuple>

namespace {

using namespace zav_test;
using Drivers::Mac::ZAV::fourCC_to_string;

constexpr UInt32 k_untouched = 0xA5A5A5A5;

class object_properties_test : public cf_leak_fixture_t {
protected:
    test_object_t m_owner{'adev', fake_plugin_ref()};
    test_object_t m_child{'astr', &m_owner, kCMIODevicePropertyScopeInput};

    void SetUp() override
    {
        cf_leak_fixture_t::SetUp();
        m_owner.set_object_id(42);
        m_child.set_object_id(43);
    }
};

TEST_F(object_properties_test, fixed_sizes_are_reported_and_every_other_size_is_refused)
{
    // The call line is written first by every get_property call for the property.
    const struct { CMIOObjectPropertySelector selector; UInt32 size; lines_t call_line; } properties[] = {
        {kCMIOObjectPropertyClass, 4, {"get_property for kObjectPropertyClass"}},
        {kCMIOObjectPropertyOwner, 4, {"get_property for kObjectPropertyOwner"}},
        {kCMIOObjectPropertyManufacturer, 8, {}},
    };
    for (const auto& property : properties) {
        SCOPED_TRACE(fourCC_to_string(property.selector));
        // A size query, with and without a used-size pointer, makes no value.
        clear_log();
        UInt32 used = k_untouched;
        EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, 0, &used, nullptr), 0);
        EXPECT_EQ(used, property.size);
        EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, 0, nullptr, nullptr), 0);
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
            EXPECT_EQ(m_child.get_property(address, 0, nullptr, wrong_size, &used, buffer.data()),
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

TEST_F(object_properties_test, class_owner_and_manufacturer_values)
{
    // The owner of an object without owner is the system object.
    const std::tuple<base_t*, CMIOObjectPropertySelector, UInt32> cases[] = {
        {&m_child, kCMIOObjectPropertyClass, 'astr'}, {&m_child, kCMIOObjectPropertyOwner, 42},
        {&m_owner, kCMIOObjectPropertyOwner, 1}};
    for (const auto& [object, selector, expected] : cases) {
        UInt32 value = 0, used = 0;
        EXPECT_EQ(object->get_property(address_of(selector), 0, nullptr, 4, &used, &value), 0);
        EXPECT_EQ(std::make_pair(value, used), std::make_pair(expected, 4u)) << fourCC_to_string(selector);
    }
    // The manufacturer is a new string for the caller on every answer; the used-size pointer is optional.
    clear_log();
    CFStringRef first = nullptr, second = nullptr;
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &first), 0);
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &second), 0);
    ASSERT_TRUE(first != nullptr && second != nullptr && first != second);
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_TRUE(CFEqual(first, CFSTR("Mivora")) && CFEqual(second, CFSTR("Mivora")));
    CFRelease(first);
    CFRelease(second);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(object_properties_test, listeners_are_settable_read_only_ones_refuse_writes_unknown_ones_refuse_all)
{
    enum kind_t { listener, read_only, unknown };
    const struct { CMIOObjectPropertySelector selector; kind_t kind; } cases[] = {
        {kCMIOObjectPropertyListenerAdded, listener}, {kCMIOObjectPropertyListenerRemoved, listener},
        {kCMIOObjectPropertyClass, read_only},        {kCMIOObjectPropertyOwner, read_only},
        {kCMIOObjectPropertyOwnedObjects, read_only}, {kCMIOObjectPropertyManufacturer, read_only},
        {kCMIOObjectPropertyName, unknown},  // answered by each derived class, never by the base
        {'zzzz', unknown},
    };
    for (const auto& c : cases) {
        const std::string name = fourCC_to_string(c.selector);
        SCOPED_TRACE(name);
        clear_log();
        Boolean settable = c.kind != listener;
        EXPECT_EQ(m_child.has_property(address_of(c.selector), settable), c.kind != unknown);
        EXPECT_EQ(settable, c.kind == listener);
        lines_t lines;
        if (c.kind != read_only) {  // answered without a value, not even a size, or refused
            UInt32 used = k_untouched;
            UInt64 value = k_untouched;
            EXPECT_EQ(m_child.get_property(address_of(c.selector), 0, nullptr, 8, &used, &value),
                      c.kind == listener ? 0 : kCMIOHardwareUnknownPropertyError);
            EXPECT_TRUE(used == k_untouched && value == k_untouched);
            if (c.kind == unknown)
                lines = {"has_property : unkwown property " + name, "get_property : unkwown property " + name};
        }
        const CMIOObjectPropertyAddress listened = address_of(kCMIOObjectPropertyName);
        bool changed = true;
        EXPECT_EQ(m_child.set_property(address_of(c.selector), 0, nullptr, sizeof(listened), &listened, changed),
                  c.kind == listener ? 0 : kCMIOHardwareUnknownPropertyError);
        EXPECT_FALSE(changed) << "cleared first";
        if (c.kind != listener)
            lines.push_back("set_property : unkwown property " + name);
        EXPECT_EQ(log_messages(), lines);
    }
}

TEST(object_base_entries_test, plain_base_entries_answer_without_a_published_check)
{
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
        {kCMIOObjectPropertyClass, 0, false}, {kCMIOObjectPropertyListenerAdded, 0, true},
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

}  // namespace
