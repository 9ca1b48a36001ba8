// Error records, chains and data items, the code names of both domains, and
// the error registry: load-time registrations, replacement, purge and the
// standard converters (concurrent use is in test_threads).
#include <atomic>

#include "test_util.h"

using namespace kel_test;

namespace {

GQuark base() { return kel_error_domain(); }
GQuark test_domain() { return g_quark_from_static_string("kel-test-registry"); }

// An item whose free_func records its tag, to observe release order.
struct TaggedItem { KelErrorData header; int tag; };
std::vector<int> released;
int tag(const KelErrorData *item) { return reinterpret_cast<const TaggedItem *>(item)->tag; }
void add_tagged(KelError *error, int value, bool with_free_func = true)
{
    auto release = [](KelErrorData *item) { released.push_back(tag(item)); };
    reinterpret_cast<TaggedItem *>(kel_error_data_new(error, 1234, 7, sizeof(TaggedItem), with_free_func ? +release : nullptr))->tag = value;
}

const char *name_x(GQuark, gint) { return "X"; }
const char *name_y(GQuark, gint) { return "Y"; }
KelJson *empty_object(KelErrorData *) { return kel_json_obj_new_base(FALSE); }
std::atomic<int> expand_calls{0};
gboolean counting_expand(KelJson *, gpointer user) { return expand_calls++, user != nullptr; }

// Every test starts from, and leaves behind, the registry as loading made it.
class Registry : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        kel_error_purge_registry();
        __kel_init_func();
        expand_calls = 0;
        released.clear();
    }
    void add_location()  // a base-domain error whose head carries one location item
    {
        kel_set_error(&slot, base(), -1, "x");
        __kel_error_add_location(&slot, "src/x.c", "do_it", 42);
    }
    ErrorSlot slot;
};
using ErrorTest = Registry;

const std::string kLocationJson =
    "{\"domain\":" + std::to_string(kel_error_domain()) + ",\"file\":\"src/x.c\",\"function\":\"do_it\",\"line\":42,\"type\":0}";

}  // namespace

TEST_F(ErrorTest, ChainsStackNewestFirstAndFreeIteratively)
{
    KelError *first = kel_set_error(&slot, base(), KEL_ARG_INVALID, "first %d", 1);
    KelError *second = kel_set_error(&slot, base(), KEL_IO_FAIL, "second %s", "two");
    ASSERT_TRUE(second == slot.err && slot->next == first && first->next == nullptr && first->gerror->domain == base());
    EXPECT_EQ(slot.pop(), "-7 second two");
    EXPECT_EQ(slot.pop(), "-1 first 1");
    // kel_error_new and kel_error_from_gerror take ownership of next.
    GError *g = g_error_new_literal(G_FILE_ERROR, G_FILE_ERROR_NOENT, "no such file");
    KelError *wrapped = kel_error_from_gerror(kel_error_new(nullptr, base(), -1, "low"), g);
    EXPECT_TRUE(wrapped->gerror == g && std::string(wrapped->next->gerror->message) == "low");
    kel_error_free(wrapped);
    KelError *e = nullptr;
    for (int i = 0; i < 200000; i++)
        e = kel_error_new(e, base(), -1, "e");
    kel_error_free(e);
}

TEST_F(ErrorTest, DataItemsStackNewestFirstAndAreReleasedOldestFirst)
{
    KelError *e = kel_error_new(nullptr, base(), -1, "x");
    add_tagged(e, 1);
    add_tagged(e, 2, false);  // no free_func: simply released
    add_tagged(e, 3);
    EXPECT_EQ(tag(e->data), 3);
    kel_error_free(e);
    EXPECT_EQ(released, (std::vector<int>{1, 3}));
    // A caller-sized item is zeroed behind its header.
    KelErrorData *item = kel_error_data_new(kel_set_error(&slot, base(), -1, "x"), 42, 9, sizeof(KelErrorData) + 32, nullptr);
    const auto *payload = reinterpret_cast<const unsigned char *>(item + 1);
    EXPECT_EQ(std::vector<unsigned char>(payload, payload + 32), std::vector<unsigned char>(32));
}

// Both go to the newest error; the location's file name is stored by reference.
TEST_F(ErrorTest, LocationAndBlobItemsGoToTheHead)
{
    kel_set_error(&slot, base(), -1, "older");
    kel_set_error(&slot, base(), -2, "newer");
    kel_error_add_location(&slot);
    const int line = __LINE__ - 1;
    kel_error_add_blob(&slot, 0xdeadbeef, 12345);
    auto *blob = reinterpret_cast<KelErrorDataBlob *>(slot->data);
    EXPECT_TRUE(blob->header.domain == base() && blob->header.type == KEL_ERROR_DATA_BLOB && blob->header.free_func == nullptr
                && blob->data == 0xdeadbeefu && blob->size == 12345u && slot->next->data == nullptr);
    auto *loc = reinterpret_cast<KelErrorDataLocation *>(blob->header.next);
    EXPECT_TRUE(loc->header.type == KEL_ERROR_DATA_LOCATION && loc->header.next == nullptr && loc->line == line && loc->file == static_cast<const char *>(__FILE__)
                && std::string(loc->function) == G_STRFUNC);
}

TEST_F(ErrorTest, ClearUntilRemovesOnlyNewerErrors)
{
    KelError *a = kel_set_error(&slot, base(), -1, "a");  // c (head) -> b -> a, each with one item
    add_tagged(a, 1);
    add_tagged(kel_set_error(&slot, base(), -2, "b"), 2);
    KelError *c = kel_set_error(&slot, base(), -3, "c");
    add_tagged(c, 3);
    KelError *foreign = kel_error_new(nullptr, base(), -1, "foreign");
    EXPECT_FALSE(kel_clear_error_until(&slot, foreign));  // not in the chain: nothing changes
    kel_error_free(foreign);
    EXPECT_TRUE(slot.err == c && slot.length() == 3 && released.empty());
    EXPECT_TRUE(kel_clear_error_until(&slot, c) && slot.err == c && released.empty());
    EXPECT_TRUE(kel_clear_error_until(&slot, a) && slot.err == a && a->next == nullptr && tag(a->data) == 1);
    EXPECT_EQ(released, (std::vector<int>{2, 3}));  // oldest removed first
    EXPECT_TRUE(kel_clear_error_until(&slot, nullptr));
    EXPECT_EQ(released, (std::vector<int>{2, 3, 1}));
}

TEST(Error, MergePutsSourceOnTop)
{
    ErrorSlot dest, src;
    kel_error_merge(&dest, &src);  // both empty: nothing happens
    EXPECT_EQ(dest.err, nullptr);
    KelError *s1 = kel_set_error(&src, kel_error_domain(), -1, "s1");
    kel_error_merge(&dest, &src);  // into an empty slot: moved unchanged
    EXPECT_TRUE(dest.err == s1 && src.err == nullptr);
    KelError *t1 = kel_set_error(&src, kel_error_domain(), -2, "t1"), *t2 = kel_set_error(&src, kel_error_domain(), -3, "t2");
    kel_error_merge(&dest, &src);
    EXPECT_TRUE(src.err == nullptr && dest.err == t2 && t2->next == t1 && t1->next == s1 && dest.length() == 3);
}

TEST(ErrorDomains, CodeNames)
{
    EXPECT_STREQ(g_quark_to_string(kel_error_domain()), "kel-error");
    EXPECT_STREQ(g_quark_to_string(kel_json_error_domain()), "kel-json-error");
    const char *status[] = {"KEL_SUCCESS", "KEL_ARG_INVALID", "KEL_RADIX_INVALID", "KEL_BUFFER_INSUFFICIENT",
                            "KEL_ARG_CONVERSION", "KEL_ALLOC_FAIL", "KEL_FN_NOT_IMPL", "KEL_IO_FAIL"};
    for (int code = 0; code >= -7; code--)
        EXPECT_STREQ(kel_status_code_to_name(base(), code), status[-code]);
    for (int code : {1, -8, G_MININT})
        EXPECT_STREQ(kel_status_code_to_name(base(), code), "<unknown>");
    const char *json[] = {"KEL_JSON_ARG_INVALID", "KEL_JSON_TYPE_INVALID", "KEL_JSON_KEY_INVALID",
                          "KEL_JSON_INDEX_INVALID", "KEL_JSON_CIRCULAR_JREF", "KEL_JSON_PARSE_ERROR",
                          "KEL_JSON_FEATURE_UNSUPPORTED", "KEL_JSON_POINTER_INVALID", "KEL_JSON_CHILD_OWNED"};
    for (int code = -1; code >= -9; code--)
        EXPECT_STREQ(kel_json_code_to_name(0, code), json[-code - 1]);  // any domain
    for (int code : {0, 3, -10, G_MININT})
        EXPECT_STREQ(kel_json_code_to_name(kel_json_error_domain(), code), "<unknown code>");
    // The registry as loading left it (its two namers are checked above).
    EXPECT_STREQ(kel_error_code_to_name(kel_json_error_domain(), -6), "KEL_JSON_PARSE_ERROR");
    EXPECT_EQ(kel_error_code_to_name(g_quark_from_static_string("kel-unregistered"), -1), nullptr);
}

TEST_F(Registry, RegistrationReplacesOneFieldAndInitOnlyItsOwn)
{
    kel_error_register_code_to_name(test_domain(), name_x);
    kel_error_register_data_to_json(test_domain(), empty_object);
    kel_error_register_code_to_name(test_domain(), name_y);
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 1), "Y");
    KelErrorData *item = kel_error_data_new(kel_set_error(&slot, test_domain(), 1, "x"), test_domain(), 0, 64, nullptr);
    EXPECT_EQ(dump(JsonRoot(kel_error_data_to_json(item))), "{}");  // the converter survived
    kel_error_register_code_to_name(test_domain(), nullptr);  // clears just that field
    EXPECT_EQ(kel_error_code_to_name(test_domain(), 1), nullptr);
    EXPECT_EQ(dump(JsonRoot(kel_error_data_to_json(item))), "{}");
    // __kel_init_func restores its own four callbacks and touches nothing else.
    kel_error_register_code_to_name(base(), name_x);
    kel_error_register_data_to_json(kel_json_error_domain(), empty_object);
    __kel_init_func();
    EXPECT_STREQ(kel_error_code_to_name(base(), -1), "KEL_ARG_INVALID");
    KelError *json_err = kel_set_error(&slot, kel_json_error_domain(), -6, "parse");
    KelErrorData *pos = kel_error_data_new(json_err, kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION, sizeof(KelJsonErrorDataPosition), nullptr);
    EXPECT_EQ(dump(JsonRoot(kel_error_data_to_json(pos))), "{}");  // the JSON domain's converter stays
}

TEST_F(Registry, PurgeEmptiesEverythingUntilTheNextRegistration)
{
    add_location();
    JsonRoot loc(kel_error_data_to_json(slot->data));
    kel_error_purge_registry();
    kel_error_purge_registry();  // harmless when already gone
    EXPECT_TRUE(kel_error_code_to_name(base(), 0) == nullptr && kel_error_code_to_name(kel_json_error_domain(), -1) == nullptr);
    EXPECT_EQ(kel_error_data_to_json(slot->data), nullptr);
    EXPECT_FALSE(kel_error_json_expand(loc, nullptr));
    EXPECT_EQ(dump(loc), kLocationJson);  // untouched
    kel_error_register_code_to_name(test_domain(), name_x);  // a fresh registry
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "X");
    EXPECT_EQ(kel_error_code_to_name(base(), 0), nullptr);
}

TEST_F(Registry, StandardConverters)
{
    KelError *json_err = kel_set_error(&slot, kel_json_error_domain(), KEL_JSON_PARSE_ERROR, "x");
    EXPECT_EQ(kel_error_data_to_json(kel_error_data_new(json_err, kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION,
                                                        sizeof(KelJsonErrorDataPosition), nullptr)), nullptr);  // no JSON-domain converter
    kel_error_add_blob(&slot, 1234, 5678);
    EXPECT_EQ(kel_error_data_to_json(slot->data), nullptr);
    EXPECT_EQ(kel_error_data_to_json(kel_error_data_new(slot.err, base(), 9, 64, nullptr)), nullptr);
    add_location();
    JsonRoot json(kel_error_data_to_json(slot->data));
    EXPECT_EQ(dump(json), kLocationJson);
    EXPECT_TRUE(member(json, "domain")->type == KEL_JSON_UINT64 && member(json, "line")->type == KEL_JSON_INT64);
    EXPECT_TRUE(kel_error_json_expand(json, nullptr));
    EXPECT_EQ(dump(json), "{\"domain\":" + std::to_string(base()) + R"(,"domain_name":"kel-error","file":"src/x.c","function":"do_it",)"
                              R"("line":42,"type":0,"type_name":"KEL_ERROR_DATA_LOCATION"})");
    // Any domain number still names kel-error; types beyond the two standard
    // ones get no name.
    const std::pair<const char *, const char *> expanded[] = {
        {R"({"type":1,"domain":12345})", R"({"domain":12345,"domain_name":"kel-error","type":1,"type_name":"KEL_ERROR_DATA_BLOB"})"},
        {R"({"type":2})", R"({"domain_name":"kel-error","type":2})"}, {R"({"type":-1})", R"({"domain_name":"kel-error","type":-1})"}};
    for (const auto &[in, out] : expanded) {
        JsonRoot object(parse(in));
        EXPECT_TRUE(std_payload_json_expand(object, nullptr));
        EXPECT_EQ(dump(object), out);
    }
}

// Dispatch on the domain number: not for a missing or textual one, even with a
// registration for quark 0; the number is cut to 32 bits; the user argument
// passes through.
TEST_F(Registry, ExpandDispatchesOnTheDomainNumber)
{
    kel_error_register_json_expand(0, counting_expand);
    kel_error_register_json_expand(test_domain(), counting_expand);
    int marker = 0;
    EXPECT_FALSE(kel_error_json_expand(JsonRoot(parse("{}")), &marker));
    EXPECT_FALSE(kel_error_json_expand(JsonRoot(parse(R"({"domain": "kel-error"})")), &marker));
    EXPECT_EQ(expand_calls, 0);
    JsonRoot wide(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_u64_base(wide, "domain", (G_GUINT64_CONSTANT(1) << 32) | test_domain(), nullptr);
    EXPECT_TRUE(kel_error_json_expand(wide, &marker));
    EXPECT_FALSE(kel_error_json_expand(wide, nullptr));
    EXPECT_EQ(expand_calls, 2);
}

TEST_F(Registry, CallbacksMayUseTheRegistry)
{
    // Registering takes the writer lock: a deadlock if the lookup still held it.
    kel_error_register_code_to_name(test_domain(), [](GQuark, gint) {
        kel_error_register_code_to_name(test_domain(), name_y);
        return kel_error_code_to_name(kel_error_domain(), -1);
    });
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "KEL_ARG_INVALID");
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "Y");  // replaced itself
}
