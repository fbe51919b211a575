// Objects in the host: creation, publishing, withdrawal, change notices, refusals while unpublished.
#include "test_objects.h"

#include <cstring>
#include <tuple>

namespace {

using namespace zav_test;
namespace probe = zav_platform::probe;
using probe::failing_call_t;
using ids_t = std::vector<CMIOObjectID>;
using call_t = std::tuple<CMIOObjectID, ids_t, ids_t>;  // owner, published, died

constexpr OSStatus k_host_failure = kCMIOHardwareIllegalOperationError;
constexpr CMIOObjectID k_system = kCMIOObjectSystemObject;

std::vector<call_t> published_and_died()
{
    std::vector<call_t> calls;
    for (const auto& call : probe::published_and_died())
        calls.emplace_back(call.owner_id, call.published, call.died);
    return calls;
}

class cmio_object_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{kCMIODeviceClassID, fake_plugin_ref()};
    test_object_t m_stream{kCMIOStreamClassID, &m_device};
};

TEST_F(cmio_object_test, created_once_under_the_owners_id_then_published_and_withdrawn_under_the_owner)
{
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
    for (const auto& c : probe::created_objects())
        created.emplace_back(c.object_id, c.class_id, c.owner_id);
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
    EXPECT_EQ(published_and_died(), (std::vector<call_t>{{device_id, {stream_id}, {}}, {k_system, {device_id}, {}},
                                                         {device_id, {}, {stream_id}}, {k_system, {}, {device_id}}}));
    EXPECT_TRUE(log_messages().empty());

    // A refused publish is logged and still counts; a refused withdrawal forgets the id silently.
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

TEST_F(cmio_object_test, destroying_a_published_object_withdraws_it_with_a_warning)
{
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

TEST_F(cmio_object_test, entries_refuse_with_their_line_until_published_but_writes_and_notices_pass)
{
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
    // Writes and change notices reach the host whether or not the object is published.
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
    probe::clear_failures();
    EXPECT_TRUE(log_messages().empty());

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

}  // namespace
