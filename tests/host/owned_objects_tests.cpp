// The ownership tree built by construction and the owned-objects answer with its scope and
// class filters.
#include "host/string_utils.h"

#include "cf_leak_fixture.h"
#include "syslog_capture.h"
#include "test_objects.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace zav_test;

const std::string k_called_on_adev = "get_property for kCMIOObjectPropertyOwnedObjects called on adev";
const std::string k_insufficient = "get_property for kCMIOObjectPropertyOwnedObjects insufficient capacity";

std::string excluded_line(const char* scope)
{
    return "get_property for kCMIOObjectPropertyOwnedObjects called on adev with scope " + std::string(scope) +
           " excluding item";
}

std::string filter_line(const char* class_id)
{
    return k_called_on_adev + " for " + class_id;
}

class owned_objects_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{'adev', fake_plugin_ref()};

    // Bytes the size query reports, for a request in `scope` with the given class filter.
    UInt32 owned_size(CMIOObjectPropertyScope scope, const std::vector<CMIOClassID>& filter = {})
    {
        UInt32 used = 0xFFFFFFFF;
        const OSStatus status =
            m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects, scope),
                                  UInt32(filter.size() * sizeof(CMIOClassID)), filter.empty() ? nullptr : filter.data(),
                                  0, &used, nullptr);
        EXPECT_EQ(status, 0);
        return used;
    }
};

TEST_F(owned_objects_test, children_join_in_construction_order_and_leave_on_destruction)
{
    auto first = std::make_unique<test_object_t>('astr', &m_device);
    auto second = std::make_unique<test_object_t>('actl', &m_device);
    auto third = std::make_unique<test_object_t>('astr', &m_device);
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{first.get(), second.get(), third.get()}));
    EXPECT_EQ(first->get_owner(), &m_device);
    EXPECT_EQ(first->get_plugin_ref(), fake_plugin_ref()) << "the plug-in reference comes from the owner";

    second.reset();
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{first.get(), third.get()}));
    first.reset();
    third.reset();
    EXPECT_TRUE(m_device.owned_objects().empty());
}

TEST_F(owned_objects_test, no_children_answer_zero_bytes_silently)
{
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal), 0u);
    CMIOObjectID ids[4] = {7, 7, 7, 7};
    UInt32 used = 0xFFFFFFFF;
    EXPECT_EQ(m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects), 0, nullptr, sizeof(ids), &used, ids),
              0);
    EXPECT_EQ(used, 0u);
    EXPECT_EQ(ids[0], 7u);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(owned_objects_test, size_query_counts_every_child_in_the_global_scope)
{
    test_object_t input(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput);
    test_object_t output(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeOutput);
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal), 8u);
    EXPECT_EQ(log_messages(), (std::vector<std::string>{k_called_on_adev, k_called_on_adev}));
}

TEST_F(owned_objects_test, fetch_with_a_buffer_stops_at_the_first_match_without_storing)
{
    // Kept as the walk has always behaved: the capacity test is reversed, so a fetch never
    // stores an id and reports 0 bytes, successfully.
    test_object_t first(kCMIOStreamClassID, &m_device);
    test_object_t second(kCMIOStreamClassID, &m_device);
    first.set_object_id(100);
    second.set_object_id(101);

    for (UInt32 buffer_size : {8u, 4u, 0u, 64u}) {
        clear_log();
        CMIOObjectID ids[16];
        std::fill(std::begin(ids), std::end(ids), 0xEEEEEEEE);
        UInt32 used = 0xFFFFFFFF;
        EXPECT_EQ(m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects), 0, nullptr, buffer_size, &used,
                                        ids),
                  0)
            << buffer_size;
        EXPECT_EQ(used, 0u) << buffer_size;
        EXPECT_EQ(ids[0], 0xEEEEEEEE) << buffer_size;
        EXPECT_EQ(log_messages(), (std::vector<std::string>{k_called_on_adev, k_insufficient})) << buffer_size;
    }
}

TEST_F(owned_objects_test, scoped_request_excludes_children_of_other_scopes)
{
    test_object_t input(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput);
    test_object_t output(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeOutput);
    test_object_t global(kCMIOControlClassID, &m_device, kCMIOObjectPropertyScopeGlobal);

    EXPECT_EQ(owned_size(kCMIODevicePropertyScopeInput), 4u);
    EXPECT_EQ(log_messages(),
              (std::vector<std::string>{k_called_on_adev, excluded_line("inpt"), excluded_line("inpt")}));

    clear_log();
    EXPECT_EQ(owned_size(kCMIODevicePropertyScopeOutput), 4u);
    EXPECT_EQ(log_messages(),
              (std::vector<std::string>{excluded_line("outp"), k_called_on_adev, excluded_line("outp")}));

    // A scope no child has excludes all of them; the global scope excludes none.
    EXPECT_EQ(owned_size(CMIOObjectPropertyScope('ptru')), 0u);
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal), 12u);
}

TEST_F(owned_objects_test, class_filter_tries_each_entry_until_one_matches)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    test_object_t control(kCMIOControlClassID, &m_device);
    test_object_t generic(kCMIOObjectClassID, &m_device);

    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal, {kCMIOStreamClassID}), 8u)
        << "the stream, and the generic object that matches every filter";
    EXPECT_EQ(log_messages(), std::vector<std::string>(3, filter_line("astr")));

    clear_log();
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal, {'none', kCMIOControlClassID}), 8u);
    EXPECT_EQ(log_messages(), (std::vector<std::string>{filter_line("none"), filter_line("actl"),  // stream
                                                        filter_line("none"), filter_line("actl"),  // control
                                                        filter_line("none")}));               // generic

    // Asking for the generic class finds only objects whose own class is the generic one.
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal, {kCMIOObjectClassID}), 4u);
    EXPECT_EQ(owned_size(kCMIOObjectPropertyScopeGlobal, {'none'}), 4u);
}

TEST_F(owned_objects_test, scope_is_checked_before_the_class_filter)
{
    test_object_t input(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput);
    test_object_t output(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeOutput);

    EXPECT_EQ(owned_size(kCMIODevicePropertyScopeInput, {kCMIOStreamClassID}), 4u);
    EXPECT_EQ(log_messages(), (std::vector<std::string>{filter_line("astr"), excluded_line("inpt")}));
}

TEST_F(owned_objects_test, filter_is_off_without_a_whole_entry_or_without_data)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    test_object_t control(kCMIOControlClassID, &m_device);
    const CMIOClassID filter[1] = {kCMIOStreamClassID};
    const auto size_with_qualifier = [this](UInt32 qualifier_size, const void* qualifier) {
        UInt32 used = 0;
        EXPECT_EQ(m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects), qualifier_size, qualifier, 0,
                                        &used, nullptr),
                  0);
        return used;
    };

    EXPECT_EQ(size_with_qualifier(3, filter), 8u) << "less than one entry";
    EXPECT_EQ(size_with_qualifier(4, nullptr), 8u) << "size without data";
    EXPECT_EQ(size_with_qualifier(4, filter), 4u) << "one whole entry filters";
    EXPECT_EQ(size_with_qualifier(7, filter), 4u) << "a partial second entry is ignored";
}

TEST_F(owned_objects_test, published_entry_answers_the_same_walk)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    ASSERT_TRUE(m_device.cmio_object_create());
    ASSERT_TRUE(m_device.publish());

    UInt32 size = 0;
    EXPECT_EQ(m_device.get_property_data_size(address_of(kCMIOObjectPropertyOwnedObjects), 0, nullptr, &size), 0);
    EXPECT_EQ(size, 4u);
    EXPECT_TRUE(m_device.unpublish());
}

TEST_F(owned_objects_test, find_object_searches_depth_first_in_list_order)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    test_object_t control_of_stream(kCMIOControlClassID, &stream);
    test_object_t second_stream(kCMIOStreamClassID, &m_device);
    m_device.set_object_id(10);
    stream.set_object_id(11);
    control_of_stream.set_object_id(12);
    second_stream.set_object_id(12);  // the same id deeper in the list: the first one found wins

    EXPECT_EQ(m_device.find_object(10), &m_device);
    EXPECT_EQ(m_device.find_object(11), &stream);
    EXPECT_EQ(m_device.find_object(12), &control_of_stream);
    EXPECT_EQ(m_device.find_object(13), nullptr);
    EXPECT_EQ(stream.find_object(10), nullptr) << "only downwards";
}

TEST_F(owned_objects_test, children_come_and_go_while_the_list_is_walked)
{
    // Children are plain base objects here: their only destructor leaves the list first.
    constexpr int builder_count = 2;
    constexpr int rounds = 2000;
    test_object_t stable(kCMIOStreamClassID, &m_device);
    std::atomic<bool> building{true};
    std::vector<std::thread> builders;
    for (int b = 0; b < builder_count; ++b) {
        builders.emplace_back([this] {
            for (int i = 0; i < rounds; ++i) {
                base_t first(kCMIOStreamClassID, &m_device);
                base_t second(kCMIOControlClassID, &m_device);
            }
        });
    }
    std::thread walker([this, &building] {
        while (building) {
            const UInt32 size = owned_size(kCMIOObjectPropertyScopeGlobal, {kCMIOStreamClassID});
            ASSERT_GE(size, 4u);
            ASSERT_LE(size, 4u * (1 + builder_count));
            ASSERT_EQ(size % 4, 0u);
        }
    });
    for (std::thread& builder : builders)
        builder.join();
    building = false;
    walker.join();

    EXPECT_EQ(m_device.owned_objects(), std::list<base_t*>{&stable});
}

}  // namespace
