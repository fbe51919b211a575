// The ownership tree built by construction and the owned-objects answer with its scope and class filters.
#include "test_objects.h"

#include <memory>

namespace {

using namespace zav_test;
using filter_t = std::vector<CMIOClassID>;
constexpr CMIOObjectPropertyScope k_global = kCMIOObjectPropertyScopeGlobal;

const std::string k_called = "get_property for kCMIOObjectPropertyOwnedObjects called on adev";
std::string excluded(const char* scope) { return k_called + " with scope " + scope + " excluding item"; }
std::string filtered(const char* class_id) { return k_called + " for " + class_id; }

class owned_objects_test : public cf_leak_fixture_t {
protected:
    test_object_t m_device{'adev', fake_plugin_ref()};

    // Bytes the size query reports; the qualifier size defaults to the whole filter.
    UInt32 owned_size(CMIOObjectPropertyScope scope, const filter_t& filter, UInt32 qualifier_size = ~0u)
    {
        if (qualifier_size == ~0u)
            qualifier_size = UInt32(filter.size() * sizeof(CMIOClassID));
        UInt32 used = 0xFFFFFFFF;
        EXPECT_EQ(m_device.get_property(address_of(kCMIOObjectPropertyOwnedObjects, scope), qualifier_size,
                                        filter.empty() ? nullptr : filter.data(), 0, &used, nullptr),
                  0);
        return used;
    }
};

TEST_F(owned_objects_test, fetch_with_a_buffer_stops_at_the_first_match_without_storing)
{
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

TEST_F(owned_objects_test, scope_is_checked_first_then_each_filter_entry_until_one_matches)
{
    test_object_t input(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeInput);
    test_object_t output(kCMIOStreamClassID, &m_device, kCMIODevicePropertyScopeOutput);
    test_object_t control(kCMIOControlClassID, &m_device);
    test_object_t generic(kCMIOObjectClassID, &m_device);  // matches every filter, is matched by none but its own
    const std::string in = excluded("inpt"), out = excluded("outp"), none = filtered("none"), actl = filtered("actl");
    const struct {
        CMIOObjectPropertyScope scope;
        filter_t filter;
        UInt32 qualifier_size;  // ~0u: the whole filter
        UInt32 size;
        lines_t lines;
    } cases[] = {
        {k_global, {}, ~0u, 16, lines_t(4, k_called)},
        {kCMIODevicePropertyScopeInput, {}, ~0u, 4, {k_called, in, in, in}},
        {kCMIODevicePropertyScopeOutput, {}, ~0u, 4, {out, k_called, out, out}},
        {kCMIODevicePropertyScopeInput, {kCMIOStreamClassID}, ~0u, 4, {filtered("astr"), in, in, in}},
        {k_global, {kCMIOStreamClassID}, ~0u, 12, lines_t(4, filtered("astr"))},
        {k_global, {'none', kCMIOControlClassID}, ~0u, 8, {none, actl, none, actl, none, actl, none}},
        {k_global, {kCMIOObjectClassID}, ~0u, 4, lines_t(4, filtered("aobj"))},
        {k_global, {'none'}, ~0u, 4, lines_t(4, none)},
        // The filter needs one whole entry and its data; a partial second entry is ignored.
        {k_global, {kCMIOStreamClassID}, 3, 16, lines_t(4, k_called)},
        {k_global, {}, 4, 16, lines_t(4, k_called)},
        {k_global, {kCMIOStreamClassID, kCMIOControlClassID}, 7, 12, lines_t(4, filtered("astr"))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.lines));
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

TEST_F(owned_objects_test, children_join_in_order_leave_on_destruction_and_are_found_depth_first)
{
    test_object_t stream(kCMIOStreamClassID, &m_device);
    auto control = std::make_unique<test_object_t>(kCMIOControlClassID, &m_device);
    test_object_t control_of_stream(kCMIOControlClassID, &stream);
    test_object_t second_stream(kCMIOStreamClassID, &m_device);
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{&stream, control.get(), &second_stream}));
    EXPECT_EQ(control_of_stream.get_owner(), &stream);
    EXPECT_EQ(control_of_stream.get_plugin_ref(), fake_plugin_ref()) << "the plug-in reference comes from the owner";
    control.reset();
    EXPECT_EQ(m_device.owned_objects(), (std::list<base_t*>{&stream, &second_stream}));

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

}  // namespace
