// The properties every object answers through the base hooks, and the size rules they follow.
#include "host/string_utils.h"

#include "test_objects.h"

#include <cstring>

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
    const struct {
        CMIOObjectPropertySelector selector;
        UInt32 size;
        lines_t call_line;  // written first by every get_property call for it
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
            unsigned char buffer[4096];
            std::memset(buffer, 0xA5, sizeof(buffer));
            used = k_untouched;
            EXPECT_EQ(m_child.get_property(address_of(property.selector), 0, nullptr, wrong_size, &used, buffer),
                      kCMIOHardwareBadPropertySizeError);
            EXPECT_EQ(used, property.size);
            for (unsigned char byte : buffer)
                ASSERT_EQ(byte, 0xA5) << "nothing written";
            lines = property.call_line;
            lines.push_back("Bad arguments to get_property_helper");
            EXPECT_EQ(log_messages(), lines);
            EXPECT_EQ(objects_created_since_start(), 0);
        }
    }
}

TEST_F(object_properties_test, class_owner_and_manufacturer_values)
{
    base_t plain('aplg', nullptr);
    const struct {
        base_t& object;
        CMIOObjectPropertySelector selector;
        UInt32 expected;
    } cases[] = {
        {m_child, kCMIOObjectPropertyClass, 'astr'}, {m_owner, kCMIOObjectPropertyClass, 'adev'},
        {m_child, kCMIOObjectPropertyOwner, 42},
        {m_owner, kCMIOObjectPropertyOwner, 1}, {plain, kCMIOObjectPropertyOwner, 1},  // no owner: the system object
    };
    for (const auto& c : cases) {
        UInt32 value = 0, used = 0;
        EXPECT_EQ(c.object.get_property(address_of(c.selector), 0, nullptr, 4, &used, &value), 0);
        EXPECT_EQ(value, c.expected) << fourCC_to_string(c.expected);
        EXPECT_EQ(used, 4u);
    }
    UInt32 value = 0;  // the used-size pointer is optional
    EXPECT_EQ(m_owner.get_property(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, nullptr, &value), 0);
    EXPECT_EQ(value, CMIOClassID('adev'));

    // The manufacturer is a new string for the caller on every answer.
    clear_log();
    CFStringRef first = nullptr, second = nullptr;
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &first), 0);
    ASSERT_EQ(m_child.get_property(address_of(kCMIOObjectPropertyManufacturer), 0, nullptr, 8, nullptr, &second), 0);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(CFGetRetainCount(first), 1);
    char text[32] = {};
    ASSERT_TRUE(CFStringGetCString(first, text, sizeof(text), kCFStringEncodingUTF8));
    EXPECT_STREQ(text, "Mivora");
    EXPECT_TRUE(CFEqual(first, second));
    CFRelease(first);
    CFRelease(second);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(object_properties_test, listener_notices_are_settable_and_write_nothing)
{
    for (CMIOObjectPropertySelector selector : {kCMIOObjectPropertyListenerAdded, kCMIOObjectPropertyListenerRemoved}) {
        SCOPED_TRACE(fourCC_to_string(selector));
        UInt32 used = k_untouched, value = k_untouched;
        EXPECT_EQ(m_child.get_property(address_of(selector), 0, nullptr, 4, &used, &value), 0);
        EXPECT_EQ(used, k_untouched) << "not even the size is written";
        EXPECT_EQ(value, k_untouched);
        const CMIOObjectPropertyAddress listened = address_of(kCMIOObjectPropertyName);
        bool changed = true;
        EXPECT_EQ(m_child.set_property(address_of(selector), 0, nullptr, sizeof(listened), &listened, changed), 0);
        EXPECT_FALSE(changed);
        Boolean settable = false;
        EXPECT_TRUE(m_child.has_property(address_of(selector), settable));
        EXPECT_TRUE(settable);
    }
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(object_properties_test, read_only_properties_refuse_writes_and_unknown_ones_refuse_all)
{
    // The name is answered by each derived class itself, never by the base.
    for (CMIOObjectPropertySelector selector : std::initializer_list<CMIOObjectPropertySelector>
         {kCMIOObjectPropertyClass, kCMIOObjectPropertyOwner, kCMIOObjectPropertyOwnedObjects,
          kCMIOObjectPropertyManufacturer, kCMIOObjectPropertyName, 'zzzz'}) {
        const std::string name = fourCC_to_string(selector);
        const bool known = selector != kCMIOObjectPropertyName && selector != 'zzzz';
        SCOPED_TRACE(name);
        clear_log();
        Boolean settable = true;
        EXPECT_EQ(m_child.has_property(address_of(selector), settable), known);
        EXPECT_FALSE(settable);
        lines_t lines;
        if (!known) {
            UInt32 used = k_untouched;
            CFStringRef value = nullptr;
            EXPECT_EQ(m_child.get_property(address_of(selector), 0, nullptr, 8, &used, &value),
                      kCMIOHardwareUnknownPropertyError);
            EXPECT_EQ(used, k_untouched);
            EXPECT_EQ(value, nullptr);
            lines = {"has_property : unkwown property " + name, "get_property : unkwown property " + name};
        }
        const UInt64 value = 7;
        bool changed = true;
        EXPECT_EQ(m_child.set_property(address_of(selector), 0, nullptr, 4, &value, changed),
                  kCMIOHardwareUnknownPropertyError);
        EXPECT_FALSE(changed) << "cleared first";
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
    EXPECT_EQ(plugin_object.get_property_data_size(address_of(kCMIOObjectPropertyClass), 0, nullptr, &size), 0);
    EXPECT_EQ(size, 4u);
    CMIOClassID class_id = 0;
    EXPECT_EQ(plugin_object.get_property_data(address_of(kCMIOObjectPropertyClass), 0, nullptr, 4, &used, &class_id),
              0);
    EXPECT_EQ(class_id, CMIOClassID('aplg'));
    Boolean settable = true;
    EXPECT_EQ(plugin_object.can_set_property(address_of(kCMIOObjectPropertyClass), &settable), 0);
    EXPECT_FALSE(settable);
    EXPECT_EQ(plugin_object.can_set_property(address_of(kCMIOObjectPropertyListenerAdded), &settable), 0);
    EXPECT_TRUE(settable);
    clear_log();
    EXPECT_EQ(plugin_object.can_set_property(address_of('zzzz'), &settable), kCMIOHardwareUnknownPropertyError);
    EXPECT_FALSE(settable);
    EXPECT_FALSE(plugin_object.has_property(address_of('zzzz')));
    EXPECT_EQ(log_messages(), lines_t(2, "has_property : unkwown property zzzz"));

    // Only host objects can report changes.
    clear_log();
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyName);
    EXPECT_FALSE(plugin_object.changed_properties(1, &address));
    EXPECT_EQ(log_messages(), lines_t{"object_base_t::changed_properties illegally called!"});

    // The generic class matches every class asked, but is not matched by a specific object.
    const struct { CMIOClassID own, asked; bool expected; } cases[] = {
        {'adev', 'adev', true}, {'adev', 'astr', false}, {'adev', kCMIOObjectClassID, false},
        {kCMIOObjectClassID, 'adev', true}, {kCMIOObjectClassID, 0, true}, {'astr', 0, false}};
    for (const auto& c : cases)
        EXPECT_EQ(base_t(c.own, nullptr).is_class(c.asked), c.expected) << fourCC_to_string(c.own) << " asked "
                                                                         << fourCC_to_string(c.asked);
}

}  // namespace
