// The error registry: load-time registrations, replacement, purge, the
// standard converters of the base domain, and concurrent use.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "test_util.h"

using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

GQuark test_domain() { return g_quark_from_static_string("kel-test-registry"); }

const char *name_x(GQuark, gint) { return "X"; }
const char *name_y(GQuark, gint) { return "Y"; }
KelJson *empty_object(KelErrorData *) { return kel_json_obj_new_base(FALSE); }

std::atomic<int> expand_calls{0};
gboolean counting_expand(KelJson *, gpointer user)
{
    expand_calls++;
    return user != nullptr;
}

// Every test starts from, and leaves behind, the registry as loading made it.
class Registry : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        kel_error_purge_registry();
        __kel_init_func();
        expand_calls = 0;
    }
    // A base-domain error whose head carries one location item.
    void add_location()
    {
        kel_set_error(&slot, kel_error_domain(), -1, "x");
        __kel_error_add_location(&slot, "src/x.c", "do_it", 42);
    }
    ErrorSlot slot;
};

const std::string kLocationJson = "{\"domain\":" + std::to_string(kel_error_domain()) +
    ",\"file\":\"src/x.c\",\"function\":\"do_it\",\"line\":42,\"type\":0}";

}  // namespace

TEST(RegistryAtLoad, LibraryDomainsAreNamed)
{
    // No fixture: this is the state the load-time initialiser left.
    EXPECT_STREQ(kel_error_code_to_name(kel_error_domain(), -3), "KEL_BUFFER_INSUFFICIENT");
    EXPECT_STREQ(kel_error_code_to_name(kel_json_error_domain(), -6), "KEL_JSON_PARSE_ERROR");
    EXPECT_STREQ(kel_error_code_to_name(kel_json_error_domain(), 0), "<unknown code>");
    EXPECT_EQ(kel_error_code_to_name(g_quark_from_static_string("kel-unregistered"), -1), nullptr);
}

TEST_F(Registry, RegistrationReplacesOneField)
{
    kel_error_register_code_to_name(test_domain(), name_x);
    kel_error_register_data_to_json(test_domain(), empty_object);
    kel_error_register_code_to_name(test_domain(), name_y);
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 1), "Y");
    kel_set_error(&slot, test_domain(), 1, "x");
    KelErrorData *item = kel_error_data_new(slot.err, test_domain(), 0, 64, nullptr);
    JsonRoot json(kel_error_data_to_json(item));  // the converter survived
    EXPECT_EQ(dump(json), "{}");

    kel_error_register_code_to_name(test_domain(), nullptr);  // clears just that field
    EXPECT_EQ(kel_error_code_to_name(test_domain(), 1), nullptr);
    JsonRoot again(kel_error_data_to_json(item));
    EXPECT_NE(again.get(), nullptr);

    // __kel_init_func restores its own four callbacks and touches nothing else.
    kel_error_register_code_to_name(kel_error_domain(), name_x);
    kel_error_register_data_to_json(kel_json_error_domain(), empty_object);
    EXPECT_STREQ(kel_error_code_to_name(kel_error_domain(), 0), "X");
    __kel_init_func();
    EXPECT_STREQ(kel_error_code_to_name(kel_error_domain(), -1), "KEL_ARG_INVALID");
    KelError *json_err = kel_set_error(&slot, kel_json_error_domain(), -6, "parse");
    KelErrorData *pos = kel_error_data_new(json_err, kel_json_error_domain(),
        KEL_JSON_ERROR_DATA_POSITION, sizeof(KelJsonErrorDataPosition), nullptr);
    JsonRoot kept(kel_error_data_to_json(pos));
    EXPECT_EQ(dump(kept), "{}");
}

TEST_F(Registry, PurgeEmptiesEverything)
{
    add_location();
    JsonRoot loc(kel_error_data_to_json(slot->data));
    ASSERT_NE(loc.get(), nullptr);

    kel_error_purge_registry();
    kel_error_purge_registry();  // harmless when already gone
    EXPECT_EQ(kel_error_code_to_name(kel_error_domain(), 0), nullptr);
    EXPECT_EQ(kel_error_code_to_name(kel_json_error_domain(), -1), nullptr);
    EXPECT_EQ(kel_error_data_to_json(slot->data), nullptr);
    EXPECT_FALSE(kel_error_json_expand(loc, nullptr));
    EXPECT_EQ(dump(loc), kLocationJson);  // untouched

    kel_error_register_code_to_name(test_domain(), name_x);  // a fresh registry
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "X");
    EXPECT_EQ(kel_error_code_to_name(kel_error_domain(), 0), nullptr);
}

TEST_F(Registry, StandardConverters)
{
    kel_set_error(&slot, kel_json_error_domain(), KEL_JSON_PARSE_ERROR, "x");
    KelErrorData *pos = kel_error_data_new(slot.err, kel_json_error_domain(),
        KEL_JSON_ERROR_DATA_POSITION, sizeof(KelJsonErrorDataPosition), nullptr);
    EXPECT_EQ(kel_error_data_to_json(pos), nullptr);  // the JSON domain has no converter
    EXPECT_EQ(kel_error_data_to_json(nullptr), nullptr);
    kel_error_add_blob(&slot, 1234, 5678);
    EXPECT_EQ(kel_error_data_to_json(slot->data), nullptr);
    KelErrorData *odd = kel_error_data_new(slot.err, kel_error_domain(), 9, 64, nullptr);
    EXPECT_EQ(kel_error_data_to_json(odd), nullptr);

    add_location();
    JsonRoot json(kel_error_data_to_json(slot->data));
    EXPECT_EQ(dump(json), kLocationJson);
    EXPECT_EQ(kel_json_obj_get_base(json, "domain", 0, nullptr)->type, KEL_JSON_UINT64);
    EXPECT_EQ(kel_json_obj_get_base(json, "line", 0, nullptr)->type, KEL_JSON_INT64);

    EXPECT_TRUE(kel_error_json_expand(json, nullptr));
    EXPECT_EQ(kel_json_obj_size(json), 7);
    EXPECT_STREQ(kel_json_obj_get_str_base(json, "domain_name", nullptr), "kel-error");
    EXPECT_STREQ(kel_json_obj_get_str_base(json, "type_name", nullptr), "KEL_ERROR_DATA_LOCATION");
}

TEST_F(Registry, StandardExpanderByType)
{
    JsonRoot blob(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_i64_base(blob, "type", KEL_ERROR_DATA_BLOB, nullptr);
    kel_json_obj_put_u64_base(blob, "domain", 12345, nullptr);  // any number: still kel-error
    EXPECT_TRUE(std_payload_json_expand(blob, nullptr));
    EXPECT_EQ(dump(blob), "{\"domain\":12345,\"domain_name\":\"kel-error\","
                          "\"type\":1,\"type_name\":\"KEL_ERROR_DATA_BLOB\"}");

    for (gint64 type : {7, -1}) {  // no name for these: only the domain's
        JsonRoot odd(kel_json_obj_new_base(FALSE));
        kel_json_obj_put_i64_base(odd, "type", type, nullptr);
        EXPECT_TRUE(std_payload_json_expand(odd, nullptr));
        EXPECT_EQ(dump(odd), "{\"domain_name\":\"kel-error\",\"type\":" + std::to_string(type) + "}");
    }
}

TEST_F(Registry, ExpandDispatchOnDomain)
{
    // Even a registration for quark 0 is not reached by a missing or zero domain.
    kel_error_register_json_expand(0, counting_expand);
    kel_error_register_json_expand(test_domain(), counting_expand);
    int marker = 0;
    JsonRoot none(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_error_json_expand(none, &marker));
    JsonRoot text(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_str_base(text, "domain", "kel-error", nullptr);
    EXPECT_FALSE(kel_error_json_expand(text, &marker));
    EXPECT_FALSE(kel_error_json_expand(nullptr, &marker));
    EXPECT_EQ(expand_calls, 0);

    // The user argument passes through; the number is truncated to 32 bits.
    JsonRoot wide(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_u64_base(wide, "domain", (G_GUINT64_CONSTANT(1) << 32) | test_domain(), nullptr);
    EXPECT_TRUE(kel_error_json_expand(wide, &marker));
    EXPECT_FALSE(kel_error_json_expand(wide, nullptr));
    EXPECT_EQ(expand_calls, 2);
}

namespace {

const char *reentrant_name(GQuark, gint)
{
    // Registering takes the writer lock: a deadlock if the lookup still held it.
    kel_error_register_code_to_name(test_domain(), name_y);
    return kel_error_code_to_name(kel_error_domain(), -1);
}

}  // namespace

TEST_F(Registry, CallbacksMayUseTheRegistry)
{
    kel_error_register_code_to_name(test_domain(), reentrant_name);
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "KEL_ARG_INVALID");
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "Y");  // replaced itself
}

namespace {

// Each thread's domain answers with the thread's own name, so a lookup can
// only see its own callback or nothing (after a purge).
const char *thread_names[] = {"t0", "t1", "t2", "t3"};
template <int N>
const char *name_of(GQuark, gint) { return thread_names[N]; }
const KelErrorCodeToNameFunc thread_namers[] = {name_of<0>, name_of<1>, name_of<2>, name_of<3>};

}  // namespace

TEST_F(Registry, ConcurrentRegisterLookupPurge)
{
    constexpr int kThreads = 4;
    GQuark domains[kThreads];
    for (int t = 0; t < kThreads; t++)
        domains[t] = g_quark_from_string(("kel-test-thread-" + std::to_string(t)).c_str());
    // GLib sets up its own error-domain lock with the first GError; do that
    // here so ThreadSanitizer (GLib is not instrumented) does not blame the
    // threads below for GLib's lazy initialisation.
    kel_error_free(kel_error_new(nullptr, kel_error_domain(), -1, "warm-up"));

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            ErrorSlot mine;
            kel_set_error(&mine, kel_error_domain(), -1, "x");
            __kel_error_add_location(&mine, "f", "g", t);
            for (int i = 0; i < 3000; i++) {
                kel_error_register_code_to_name(domains[t], thread_namers[t]);
                kel_error_register_json_expand(domains[t], counting_expand);
                const char *name = kel_error_code_to_name(domains[t], 0);
                if (name != nullptr && std::string(name) != thread_names[t])
                    wrong++;
                const char *base = kel_error_code_to_name(kel_error_domain(), -2);
                if (base != nullptr && std::string(base) != "KEL_RADIX_INVALID")
                    wrong++;
                if (KelJson *json = kel_error_data_to_json(mine->data)) {
                    kel_error_json_expand(json, nullptr);
                    kel_json_unref(json);
                }
                if (t == 0 && i % 50 == 0)
                    kel_error_purge_registry();
                if (t == 1 && i % 70 == 0)
                    __kel_init_func();
            }
        });
    }
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(wrong, 0);
    for (int t = 0; t < kThreads; t++) {  // still consistent afterwards
        kel_error_register_code_to_name(domains[t], name_x);
        EXPECT_STREQ(kel_error_code_to_name(domains[t], 0), "X");
    }
}
