// Objects in the host: creation, publishing, withdrawal, change notices, and the refusals of an
// object that is not published.
#include "host/string_utils.h"

#include "cf_leak_fixture.h"
#include "syslog_capture.h"
#include "test_objects.h"

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace zav_test;
namespace probe = zav_platform::probe;
using probe::failing_call_t;

constexpr OSStatus k_host_failure = kCMIOHardwareIllegalOperationError;

class cmio_object_test : public cf_leak_fixture_t {};

TEST_F(cmio_object_test, create_asks_the_host_once_under_the_owners_id)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    test_object_t stream(kCMIOStreamClassID, &device);
    EXPECT_EQ(device.get_object_id(), 0u);

    ASSERT_TRUE(device.cmio_object_create());
    ASSERT_TRUE(stream.cmio_object_create());
    EXPECT_NE(device.get_object_id(), 0u);
    EXPECT_NE(stream.get_object_id(), 0u);
    EXPECT_NE(device.get_object_id(), stream.get_object_id());

    const auto created = probe::created_objects();
    ASSERT_EQ(created.size(), 2u);
    EXPECT_EQ(created[0].object_id, device.get_object_id());
    EXPECT_EQ(created[0].class_id, CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(created[0].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(created[1].object_id, stream.get_object_id());
    EXPECT_EQ(created[1].class_id, CMIOClassID(kCMIOStreamClassID));
    EXPECT_EQ(created[1].owner_id, device.get_object_id());

    // An object is created once.
    const CMIOObjectID first_id = device.get_object_id();
    EXPECT_FALSE(device.cmio_object_create());
    EXPECT_EQ(device.get_object_id(), first_id);
    EXPECT_EQ(probe::created_objects().size(), 2u);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, refused_create_leaves_the_object_without_id_and_unlogged)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    probe::set_failure(failing_call_t::object_create, k_host_failure);
    EXPECT_FALSE(device.cmio_object_create());
    EXPECT_EQ(device.get_object_id(), 0u);

    // Once the host accepts again, the object can still be created.
    probe::clear_failures();
    EXPECT_TRUE(device.cmio_object_create());
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, publish_and_unpublish_announce_the_object_under_its_owner)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    test_object_t stream(kCMIOStreamClassID, &device);
    ASSERT_TRUE(device.cmio_object_create());
    ASSERT_TRUE(stream.cmio_object_create());
    const CMIOObjectID device_id = device.get_object_id();
    const CMIOObjectID stream_id = stream.get_object_id();

    ASSERT_TRUE(stream.publish());
    ASSERT_TRUE(device.publish());
    EXPECT_TRUE(stream.is_published());
    EXPECT_TRUE(device.is_published());

    EXPECT_TRUE(stream.unpublish());
    EXPECT_FALSE(stream.is_published());
    EXPECT_EQ(stream.get_object_id(), 0u) << "the id is forgotten";
    EXPECT_TRUE(device.unpublish());

    const auto calls = probe::published_and_died();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0].owner_id, device_id);
    EXPECT_EQ(calls[0].published, std::vector<CMIOObjectID>{stream_id});
    EXPECT_TRUE(calls[0].died.empty());
    EXPECT_EQ(calls[1].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(calls[1].published, std::vector<CMIOObjectID>{device_id});
    // The stream is withdrawn while its owner still has its id.
    EXPECT_EQ(calls[2].owner_id, device_id);
    EXPECT_TRUE(calls[2].published.empty());
    EXPECT_EQ(calls[2].died, std::vector<CMIOObjectID>{stream_id});
    EXPECT_EQ(calls[3].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(calls[3].died, std::vector<CMIOObjectID>{device_id});
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, objects_without_id_are_neither_published_nor_withdrawn)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    EXPECT_FALSE(device.publish());
    EXPECT_FALSE(device.is_published());
    EXPECT_TRUE(device.unpublish());
    EXPECT_TRUE(probe::published_and_died().empty());
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, refused_publish_is_logged_and_still_counts_as_published)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device.cmio_object_create());
    probe::set_failure(failing_call_t::objects_published_and_died, k_host_failure);

    EXPECT_FALSE(device.publish());
    EXPECT_TRUE(device.is_published());
    EXPECT_NE(device.get_object_id(), 0u);
    EXPECT_EQ(log_messages(), std::vector<std::string>{"Unexpected failure to publish a cmio object"});

    // A refused withdrawal still leaves the object unpublished and without id, silently.
    clear_log();
    EXPECT_FALSE(device.unpublish());
    EXPECT_FALSE(device.is_published());
    EXPECT_EQ(device.get_object_id(), 0u);
    EXPECT_TRUE(log_messages().empty());
    EXPECT_TRUE(probe::published_and_died().empty());
}

TEST_F(cmio_object_test, destroying_a_published_object_withdraws_it_with_a_warning)
{
    auto device = std::make_unique<test_object_t>(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device->cmio_object_create());
    ASSERT_TRUE(device->publish());
    const CMIOObjectID device_id = device->get_object_id();
    probe::clear_records();

    device.reset();
    EXPECT_EQ(log_messages(), std::vector<std::string>{"cmio_object_t object should be unpublished before destroyed"});
    const auto calls = probe::published_and_died();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].died, std::vector<CMIOObjectID>{device_id});
}

TEST_F(cmio_object_test, destroying_an_unpublished_object_says_nothing)
{
    auto device = std::make_unique<test_object_t>(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device->cmio_object_create());
    device.reset();
    EXPECT_TRUE(log_messages().empty());
    EXPECT_TRUE(probe::published_and_died().empty());
}

TEST_F(cmio_object_test, change_notices_carry_the_object_id_and_every_address)
{
    test_object_t stream(kCMIOStreamClassID, fake_plugin_ref());
    ASSERT_TRUE(stream.cmio_object_create());
    const CMIOObjectPropertyAddress addresses[] = {
        address_of(kCMIOStreamPropertyFrameRate),
        address_of(kCMIOStreamPropertyMinimumFrameRate, kCMIODevicePropertyScopeInput),
    };

    // No published check: notices go out whether or not the object is published.
    EXPECT_TRUE(stream.changed_properties(2, addresses));

    const auto notices = probe::properties_changed();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].object_id, stream.get_object_id());
    ASSERT_EQ(notices[0].addresses.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(notices[0].addresses[i].mSelector, addresses[i].mSelector);
        EXPECT_EQ(notices[0].addresses[i].mScope, addresses[i].mScope);
        EXPECT_EQ(notices[0].addresses[i].mElement, addresses[i].mElement);
    }

    probe::set_failure(failing_call_t::properties_changed, k_host_failure);
    EXPECT_FALSE(stream.changed_properties(2, addresses));
    EXPECT_EQ(probe::properties_changed().size(), 1u);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, unpublished_objects_refuse_every_entry_with_its_line)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device.cmio_object_create());  // created but not published
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyClass);

    EXPECT_FALSE(device.has_property(address));

    UInt32 size = 0x1234;
    EXPECT_EQ(device.get_property_data_size(address, 0, nullptr, &size), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(size, 0x1234u);

    UInt32 used = 0x1234;
    CMIOClassID class_id = 0;
    EXPECT_EQ(device.get_property_data(address, 0, nullptr, 4, &used, &class_id), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(used, 0x1234u);
    EXPECT_EQ(class_id, 0u);

    Boolean settable = true;
    EXPECT_EQ(device.can_set_property(address, &settable), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(settable) << "left alone";

    EXPECT_EQ(log_messages(), (std::vector<std::string>{"has_property : called when not published clas",
                                                         "get_property_data_size : called when not published clas",
                                                         "get_property_data : called when not published clas",
                                                         "can_set_property : called when not published clas"}));

    // Writes reach the class's hook whether or not the object is published.
    clear_log();
    bool changed = true;
    EXPECT_EQ(device.set_property(address_of(kCMIOObjectPropertyListenerAdded), 0, nullptr, 0, nullptr, changed), 0);
    EXPECT_FALSE(changed);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, published_objects_answer_through_the_entries)
{
    test_object_t device(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device.cmio_object_create());
    ASSERT_TRUE(device.publish());
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyOwner);

    EXPECT_TRUE(device.has_property(address));
    UInt32 size = 0;
    EXPECT_EQ(device.get_property_data_size(address, 0, nullptr, &size), 0);
    EXPECT_EQ(size, 4u);
    CMIOObjectID owner = 0;
    UInt32 used = 0;
    EXPECT_EQ(device.get_property_data(address, 0, nullptr, 4, &used, &owner), 0);
    EXPECT_EQ(owner, 1u);
    EXPECT_EQ(used, 4u);
    Boolean settable = true;
    EXPECT_EQ(device.can_set_property(address, &settable), 0);
    EXPECT_FALSE(settable);
    EXPECT_EQ(device.can_set_property(address_of('zzzz'), &settable), kCMIOHardwareUnknownPropertyError);

    // After withdrawal the refusals are back.
    ASSERT_TRUE(device.unpublish());
    clear_log();
    EXPECT_FALSE(device.has_property(address));
    EXPECT_EQ(log_messages(), std::vector<std::string>{"has_property : called when not published stdv"});
}

}  // namespace
