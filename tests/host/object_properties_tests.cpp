// The properties every object answers through the base hooks, and the size rules they follow.
#include "host/object_base.h"
#include "host/string_utils.h"

#include "cf_leak_fixture.h"
#include "syslog_capture.h"
#include "test_objects.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace zav_test;

constexpr CMIOClassID k_device_class = 'adev';
constexpr UInt32 k_untouched = 0xA5A5A5A5;
const std::string k_bad_get_size = "Bad arguments to get_property_helper";

class object_properties_test : public cf_leak_fixture_t {
protected:
    // A stand-alone object and one owned by it, both with ids.
    test_object_t m_owner{k_device_class, fake_plugin_ref()};
    test_object_t m_child{'astr', &m_owner, kCMIODevicePropertyScopeInput};

    void SetUp() override
    {
        cf_leak_fixture_t::SetUp();
        m_owner.set_object_id(42);
        m_child.set_object_id(43);
    }
};

struct fixed_size_property_t {
    CMIOObjectPropertySelector selector;
    UInt32 size;
    // The line every get_property call for it writes first, if any.
    const char* call_line;
};

const fixed_size_property_t k_fixed_size_properties[] = {
    {kCMIOObjectPropertyClass, 4, "get_property for kObjectPropertyClass"},
    {kCMIOObjectPropertyOwner, 4, "get_property for kObjectPropertyOwner"},
    {kCMIOObjectPropertyManufacturer, 8, nullptr},
};

std::vector<std::string> expected_lines(const fixed_size_property_t& property, bool refused)
{
    std::vector<std::string> lines;
    if (property.call_line != nullptr)
        lines.push_back(property.call_line);
    if (refused)
        lines.push_back(k_bad_get_size);
    return lines;
}

TEST_F(object_properties_test, size_query_reports_the_size_without_making_a_value)
{
    for (const auto& property : k_fixed_size_properties) {
        const std::string name = Drivers::Mac::ZAV::fourCC_to_string(property.selector);
        clear_log();
        UInt32 used = k_untouched;
        EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, 0, &used, nullptr), 0) << name;
        EXPECT_EQ(used, property.size) << name;
        // Also with no used-size pointer at all.
        EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, 0, nullptr, nullptr), 0) << name;
        EXPECT_EQ(objects_created_since_start(), 0) << name << ": a size query creates no string";

        // One call line per query, if the property has one.
        std::vector<std::string> lines = expected_lines(property, false);
        if (!lines.empty())
            lines.push_back(lines.front());
        EXPECT_EQ(log_messages(), lines) << name;
    }
}

TEST_F(object_properties_test, any_size_but_the_exact_one_is_refused_after_reporting_the_size)
{
    for (const auto& property : k_fixed_size_properties) {
        const std::string name = Drivers::Mac::ZAV::fourCC_to_string(property.selector);
        for (UInt32 wrong_size : {0u, 1u, property.size - 1, property.size + 1, property.size * 2, 4096u}) {
            clear_log();
            unsigned char buffer[4096];
            std::memset(buffer, 0xA5, sizeof(buffer));
            UInt32 used = k_untouched;
            EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, wrong_size, &used, buffer),
                      kCMIOHardwareBadPropertySizeError)
                << name << " size " << wrong_size;
            EXPECT_EQ(used, property.size) << name << " size " << wrong_size;
            for (unsigned char byte : buffer)
                ASSERT_EQ(byte, 0xA5) << name << " size " << wrong_size << ": nothing written";
            EXPECT_EQ(log_messages(), expected_lines(property, true)) << name << " size " << wrong_size;
            EXPECT_EQ(objects_created_since_start(), 0) << name;
        }
    }
}

TEST_F(object_properties_test, class_is_the_objects_own_class)
{
    CMIOClassID value = 0;
    UInt32 used = 0;
    EXPECT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, &used, &value), 0);
    EXPECT_EQ(value, CMIOClassID('astr'));
    EXPECT_EQ(used, 4u);
    // The used-size pointer is optional.
    value = 0;
    EXPECT_EQ(m_owner.get_property(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, nullptr, &value), 0);
    EXPECT_EQ(value, k_device_class);
}

TEST_F(object_properties_test, owner_is_the_owners_id_or_the_system_object)
{
    CMIOObjectID value = 0;
    EXPECT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyOwner), 0, nullptr, 4, nullptr, &value), 0);
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(m_owner.get_property(address_of(kCMIOObjectPropertyOwner), 0, nullptr, 4, nullptr, &value), 0);
    EXPECT_EQ(value, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(value, 1u);
    // A plain base object without owner answers the same way.
    base_t plain('aplg', nullptr);
    EXPECT_EQ(plain.get_property(address_of(kCMIOObjectPropertyOwner), 0, nullptr, 4, nullptr, &value), 0);
    EXPECT_EQ(value, 1u);
}

TEST_F(object_properties_test, manufacturer_is_a_new_string_for_the_caller)
{
    CFStringRef first = nullptr;
    CFStringRef second = nullptr;
    UInt32 used = 0;
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, &used, &first), 0);
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &second), 0);
    EXPECT_EQ(used, 8u);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(objects_created_since_start(), 2) << "one string per answer";
    EXPECT_EQ(CFGetRetainCount(first), 1);

    char text[32] = {};
    ASSERT_TRUE(CFStringGetCString(first, text, sizeof(text), kCFStringEncodingUTF8));
    EXPECT_STREQ(text, "Mivora");
    EXPECT_TRUE(CFEqual(first, second));
    CFRelease(first);
    CFRelease(second);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(object_properties_test, listener_notices_are_accepted_and_write_nothing)
{
    for (CMIOObjectPropertySelector selector : {kCMIOObjectPropertyListenerAdded, kCMIOObjectPropertyListenerRemoved}) {
        const std::string name = Drivers::Mac::ZAV::fourCC_to_string(selector);
        UInt32 used = k_untouched;
        UInt32 value = k_untouched;
        EXPECT_EQ(m_child.get_property(address_of(selector), 0, nullptr, 4, &used, &value), 0) << name;
        EXPECT_EQ(used, k_untouched) << name << ": not even the size is written";
        EXPECT_EQ(value, k_untouched) << name;

        const CMIOObjectPropertyAddress listened = address_of(kCMIOObjectPropertyName);
        bool changed = true;
        EXPECT_EQ(m_child.set_property(address_of(selector), 0, nullptr, sizeof(listened), &listened, changed), 0)
            << name;
        EXPECT_FALSE(changed) << name;

        Boolean settable = false;
        EXPECT_TRUE(m_child.has_property(address_of(selector), settable)) << name;
        EXPECT_TRUE(settable) << name;
    }
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(object_properties_test, read_only_base_properties_are_known_and_not_settable)
{
    for (CMIOObjectPropertySelector selector : {kCMIOObjectPropertyClass, kCMIOObjectPropertyOwner,
                                                kCMIOObjectPropertyOwnedObjects, kCMIOObjectPropertyManufacturer}) {
        const std::string name = Drivers::Mac::ZAV::fourCC_to_string(selector);
        Boolean settable = true;
        EXPECT_TRUE(m_child.has_property(address_of(selector), settable)) << name;
        EXPECT_FALSE(settable) << name;

        // Writing one is refused as an unknown property, and `changed` is cleared first.
        clear_log();
        const UInt32 value = 7;
        bool changed = true;
        EXPECT_EQ(m_child.set_property(address_of(selector), 0, nullptr, 4, &value, changed),
                  kCMIOHardwareUnknownPropertyError)
            << name;
        EXPECT_FALSE(changed) << name;
        EXPECT_EQ(log_messages(), std::vector<std::string>{"set_property : unkwown property " + name});
    }
}

TEST_F(object_properties_test, unknown_selectors_are_refused_with_their_line_in_every_hook)
{
    // The name is answered by each derived class itself, never by the base.
    for (CMIOObjectPropertySelector selector : {CMIOObjectPropertySelector(kCMIOObjectPropertyName),
                                                CMIOObjectPropertySelector('zzzz')}) {
        const std::string name = Drivers::Mac::ZAV::fourCC_to_string(selector);
        const CMIOObjectPropertyAddress address = address_of(selector);
        clear_log();

        Boolean settable = true;
        EXPECT_FALSE(m_child.has_property(address, settable));
        EXPECT_FALSE(settable);

        UInt32 used = k_untouched;
        CFStringRef value = nullptr;
        EXPECT_EQ(m_child.get_property(address, 0, nullptr, 8, &used, &value), kCMIOHardwareUnknownPropertyError);
        EXPECT_EQ(used, k_untouched);
        EXPECT_EQ(value, nullptr);

        bool changed = true;
        EXPECT_EQ(m_child.set_property(address, 0, nullptr, 8, &value, changed), kCMIOHardwareUnknownPropertyError);
        EXPECT_FALSE(changed);

        EXPECT_EQ(log_messages(), (std::vector<std::string>{"has_property : unkwown property " + name,
                                                             "get_property : unkwown property " + name,
                                                             "set_property : unkwown property " + name}));
    }
}

TEST(object_base_entries_test, plain_base_entries_answer_without_a_published_check)
{
    // Objects that are not host objects (the plug-in itself) use the base entries directly.
    clear_log();
    base_t plugin_object('aplg', nullptr);

    EXPECT_TRUE(plugin_object.has_property(address_of(kCMIOObjectPropertyClass)));
    UInt32 size = 0;
    EXPECT_EQ(plugin_object.get_property_data_size(address_of(kCMIOObjectPropertyClass), 0, nullptr, &size), 0);
    EXPECT_EQ(size, 4u);
    CMIOClassID class_id = 0;
    UInt32 used = 0;
    EXPECT_EQ(plugin_object.get_property_data(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, &used, &class_id),
              0);
    EXPECT_EQ(class_id, CMIOClassID('aplg'));
    EXPECT_EQ(used, 4u);

    Boolean settable = true;
    EXPECT_EQ(plugin_object.can_set_property(address_of(kCMIOObjectPropertyClass), &settable), 0);
    EXPECT_FALSE(settable);
    EXPECT_EQ(plugin_object.can_set_property(address_of(kCMIOObjectPropertyListenerAdded), &settable), 0);
    EXPECT_TRUE(settable);

    settable = true;
    clear_log();
    EXPECT_EQ(plugin_object.can_set_property(address_of('zzzz'), &settable), kCMIOHardwareUnknownPropertyError);
    EXPECT_FALSE(settable);
    EXPECT_FALSE(plugin_object.has_property(address_of('zzzz')));
    EXPECT_EQ(log_messages(), (std::vector<std::string>{"has_property : unkwown property zzzz",
                                                         "has_property : unkwown property zzzz"}));
}

TEST(object_base_entries_test, base_object_cannot_report_changes)
{
    base_t plugin_object('aplg', nullptr);
    clear_log();
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyName);
    EXPECT_FALSE(plugin_object.changed_properties(1, &address));
    EXPECT_EQ(log_messages(), std::vector<std::string>{"object_base_t::changed_properties illegally called!"});
}

TEST(object_base_entries_test, class_test_matches_own_class_and_generic_objects_match_all)
{
    const struct {
        CMIOClassID own;
        CMIOClassID asked;
        bool expected;
    } cases[] = {
        {'adev', 'adev', true},
        {'adev', 'astr', false},
        // Asking for the generic class does not match a specific object.
        {'adev', kCMIOObjectClassID, false},
        // An object of the generic class answers to every class.
        {kCMIOObjectClassID, 'adev', true},
        {kCMIOObjectClassID, 'astr', true},
        {kCMIOObjectClassID, kCMIOObjectClassID, true},
        {kCMIOObjectClassID, 0, true},
        {'astr', 0, false},
    };
    for (const auto& c : cases) {
        base_t object(c.own, nullptr);
        EXPECT_EQ(object.is_class(c.asked), c.expected)
            << Drivers::Mac::ZAV::fourCC_to_string(c.own) << " asked " << Drivers::Mac::ZAV::fourCC_to_string(c.asked);
    }
}

}  // namespace
