// Objects in the host: creation, publishing, withdrawal, change notices, and the refusals of an
// object that is not published.
#include "cf_leak_fixture.h"
#include "syslog_capture.h"
#include "test_objects.h"

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace zav_test;
namespace probe = zav_platform::probe;
using probe::failing_call_t;
using ids_t = std::vector<CMIOObjectID>;

constexpr OSStatus k_host_failure = kCMIOHardwareIllegalOperationError;

class cmio_object_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{kCMIODeviceClassID, fake_plugin_ref()};
};

TEST_F(cmio_object_test, create_asks_the_host_once_under_the_owners_id)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    // A refused create leaves the object without id; it can be created once the host accepts.
    probe::set_failure(failing_call_t::object_create, k_host_failure);
    EXPECT_FALSE(m_device.cmio_object_create());
    EXPECT_EQ(m_device.get_object_id(), 0u);
    probe::clear_failures();

    ASSERT_TRUE(m_device.cmio_object_create());
    ASSERT_TRUE(stream.cmio_object_create());
    EXPECT_NE(m_device.get_object_id(), 0u);
    EXPECT_NE(stream.get_object_id(), 0u);
    EXPECT_NE(m_device.get_object_id(), stream.get_object_id());
    const auto created = probe::created_objects();
    ASSERT_EQ(created.size(), 2u);
    EXPECT_EQ(created[0].object_id, m_device.get_object_id());
    EXPECT_EQ(created[0].class_id, CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(created[0].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(created[1].object_id, stream.get_object_id());
    EXPECT_EQ(created[1].class_id, CMIOClassID(kCMIOStreamClassID));
    EXPECT_EQ(created[1].owner_id, m_device.get_object_id());

    const CMIOObjectID first_id = m_device.get_object_id();
    EXPECT_FALSE(m_device.cmio_object_create()) << "an object is created once";
    EXPECT_EQ(m_device.get_object_id(), first_id);
    EXPECT_EQ(probe::created_objects().size(), 2u);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, publish_and_unpublish_announce_the_object_under_its_owner)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    // Without an id there is nothing to publish or withdraw.
    EXPECT_FALSE(m_device.publish());
    EXPECT_FALSE(m_device.is_published());
    EXPECT_TRUE(m_device.unpublish());
    EXPECT_TRUE(probe::published_and_died().empty());

    ASSERT_TRUE(m_device.cmio_object_create());
    ASSERT_TRUE(stream.cmio_object_create());
    const CMIOObjectID device_id = m_device.get_object_id(), stream_id = stream.get_object_id();
    ASSERT_TRUE(stream.publish());
    ASSERT_TRUE(m_device.publish());
    EXPECT_TRUE(stream.is_published());
    EXPECT_TRUE(m_device.is_published());
    EXPECT_TRUE(stream.unpublish());
    EXPECT_FALSE(stream.is_published());
    EXPECT_EQ(stream.get_object_id(), 0u) << "the id is forgotten";
    EXPECT_TRUE(m_device.unpublish());

    const auto calls = probe::published_and_died();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0].owner_id, device_id);
    EXPECT_EQ(calls[0].published, ids_t{stream_id});
    EXPECT_TRUE(calls[0].died.empty());
    EXPECT_EQ(calls[1].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(calls[1].published, ids_t{device_id});
    // The stream is withdrawn while its owner still has its id.
    EXPECT_EQ(calls[2].owner_id, device_id);
    EXPECT_TRUE(calls[2].published.empty());
    EXPECT_EQ(calls[2].died, ids_t{stream_id});
    EXPECT_EQ(calls[3].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(calls[3].died, ids_t{device_id});
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, refused_publish_is_logged_and_still_counts_as_published)
{
    ASSERT_TRUE(m_device.cmio_object_create());
    probe::set_failure(failing_call_t::objects_published_and_died, k_host_failure);
    EXPECT_FALSE(m_device.publish());
    EXPECT_TRUE(m_device.is_published());
    EXPECT_NE(m_device.get_object_id(), 0u);
    EXPECT_EQ(log_messages(), lines_t{"Unexpected failure to publish a cmio object"});

    // A refused withdrawal still leaves the object unpublished and without id, silently.
    clear_log();
    EXPECT_FALSE(m_device.unpublish());
    EXPECT_FALSE(m_device.is_published());
    EXPECT_EQ(m_device.get_object_id(), 0u);
    EXPECT_TRUE(log_messages().empty());
    EXPECT_TRUE(probe::published_and_died().empty());
}

TEST_F(cmio_object_test, destroying_a_published_object_withdraws_it_with_a_warning)
{
    auto quiet = std::make_unique<test_object_t>(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(quiet->cmio_object_create());
    quiet.reset();
    EXPECT_TRUE(log_messages().empty()) << "an unpublished object goes silently";
    EXPECT_TRUE(probe::published_and_died().empty());

    auto device = std::make_unique<test_object_t>(kCMIODeviceClassID, fake_plugin_ref());
    ASSERT_TRUE(device->cmio_object_create());
    ASSERT_TRUE(device->publish());
    const CMIOObjectID device_id = device->get_object_id();
    probe::clear_records();
    device.reset();
    EXPECT_EQ(log_messages(), lines_t{"cmio_object_t object should be unpublished before destroyed"});
    const auto calls = probe::published_and_died();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].died, ids_t{device_id});
}

TEST_F(cmio_object_test, change_notices_carry_the_object_id_and_every_address)
{
    ASSERT_TRUE(m_device.cmio_object_create());
    const CMIOObjectPropertyAddress addresses[] = {
        address_of(kCMIOStreamPropertyFrameRate),
        address_of(kCMIOStreamPropertyMinimumFrameRate, kCMIODevicePropertyScopeInput),
    };
    // No published check: notices go out whether or not the object is published.
    EXPECT_TRUE(m_device.changed_properties(2, addresses));
    const auto notices = probe::properties_changed();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].object_id, m_device.get_object_id());
    ASSERT_EQ(notices[0].addresses.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(notices[0].addresses[i].mSelector, addresses[i].mSelector);
        EXPECT_EQ(notices[0].addresses[i].mScope, addresses[i].mScope);
        EXPECT_EQ(notices[0].addresses[i].mElement, addresses[i].mElement);
    }

    probe::set_failure(failing_call_t::properties_changed, k_host_failure);
    EXPECT_FALSE(m_device.changed_properties(2, addresses));
    EXPECT_EQ(probe::properties_changed().size(), 1u);
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_object_test, entries_refuse_with_their_line_until_published)
{
    ASSERT_TRUE(m_device.cmio_object_create());  // created but not published
    const CMIOObjectPropertyAddress address = address_of(kCMIOObjectPropertyOwner);
    EXPECT_FALSE(m_device.has_property(address));
    UInt32 size = 0x1234, used = 0x1234;
    CMIOObjectID owner = 0;
    Boolean settable = true;
    EXPECT_EQ(m_device.get_property_data_size(address, 0, nullptr, &size), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(m_device.get_property_data(address, 0, nullptr, 4, &used, &owner), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(m_device.can_set_property(address, &settable), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(size, 0x1234u);
    EXPECT_EQ(used, 0x1234u);
    EXPECT_EQ(owner, 0u);
    EXPECT_TRUE(settable) << "left alone";
    EXPECT_EQ(log_messages(), (lines_t{"has_property : called when not published stdv",
                                       "get_property_data_size : called when not published stdv",
                                       "get_property_data : called when not published stdv",
                                       "can_set_property : called when not published stdv"}));
    // Writes reach the class's hook whether or not the object is published.
    clear_log();
    bool changed = true;
    EXPECT_EQ(m_device.set_property(address_of(kCMIOObjectPropertyListenerAdded), 0, nullptr, 0, nullptr, changed), 0);
    EXPECT_FALSE(changed);
    EXPECT_TRUE(log_messages().empty());

    ASSERT_TRUE(m_device.publish());
    EXPECT_TRUE(m_device.has_property(address));
    EXPECT_EQ(m_device.get_property_data_size(address, 0, nullptr, &size), 0);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(m_device.get_property_data(address, 0, nullptr, 4, &used, &owner), 0);
    EXPECT_EQ(owner, 1u);
    EXPECT_EQ(used, 4u);
    EXPECT_EQ(m_device.can_set_property(address, &settable), 0);
    EXPECT_FALSE(settable);
    EXPECT_EQ(m_device.can_set_property(address_of('zzzz'), &settable), kCMIOHardwareUnknownPropertyError);

    // After withdrawal the refusals are back.
    ASSERT_TRUE(m_device.unpublish());
    clear_log();
    EXPECT_FALSE(m_device.has_property(address));
    EXPECT_EQ(log_messages(), lines_t{"has_property : called when not published stdv"});
}

}  // namespace
