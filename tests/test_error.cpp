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
class ErrorTest : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override { kel_error_purge_registry(); __kel_init_func(); expand_calls = 0; released.clear(); }
    // The dump of what the registry makes of a new (zeroed) item on the newest
    // error, "NULL" when nothing.
    std::string item_json(GQuark domain, gint type, gsize size = 64)
    {
        KelError *head = slot ? slot.err : kel_set_error(&slot, domain, -1, "x");
        KelJson *json = kel_error_data_to_json(kel_error_data_new(head, domain, type, size, nullptr));
        return json ? dump(JsonRoot(json)) : "NULL";
    }
    ErrorSlot slot;
};

}  // namespace

// A merge puts the source chain on top (into an empty slot unchanged);
// kel_error_new and kel_error_from_gerror take over
// `next`; a long chain is freed without recursion.
TEST_F(ErrorTest, ChainsStackNewestFirstMergeOnTopAndFreeIteratively)
{
    kel_set_error(&slot, base(), KEL_ARG_INVALID, "first %d", 1);
    kel_set_error(&slot, base(), KEL_IO_FAIL, "second %s", "two");
    EXPECT_EQ((std::vector<std::string>{slot.pop(), slot.pop(), slot.pop()}), (std::vector<std::string>{"-7 second two", "-1 first 1", "<no error>"}));
    ErrorSlot src;
    KelError *s1 = kel_set_error(&src, base(), -1, "s1");
    kel_error_merge(&slot, &src);
    kel_error_merge(&slot, &src);  // an empty source changes nothing
    EXPECT_TRUE(slot.err == s1 && s1->next == nullptr && src.err == nullptr);
    KelError *t1 = kel_set_error(&src, base(), -2, "t1"), *t2 = kel_set_error(&src, base(), -3, "t2");
    kel_error_merge(&slot, &src);
    EXPECT_TRUE(src.err == nullptr && slot.err == t2 && t2->next == t1 && t1->next == s1 && slot.length() == 3);
    GError *g = g_error_new_literal(G_FILE_ERROR, G_FILE_ERROR_NOENT, "no such file");
    slot.err = kel_error_from_gerror(kel_error_new(slot.err, base(), -1, "low"), g);
    EXPECT_TRUE(slot->gerror == g && std::string(slot->next->gerror->message) == "low" && slot->next->next == t2);
    for (int i = 0; i < 200000; i++)
        kel_set_error(&slot, base(), -1, "e");
}

// Location and blob items go to the newest error; the location's file name is
// stored by reference.
TEST_F(ErrorTest, DataItemsStackOnTheHeadNewestFirstAndAreReleasedOldestFirst)
{
    KelError *e = kel_error_new(nullptr, base(), -1, "x");
    for (int t : {1, 2, 3})
        add_tagged(e, t, t != 2);  // 2 has no free_func: simply released
    kel_error_free(e);
    EXPECT_EQ(released, (std::vector<int>{1, 3}));
    // A caller-sized item is zeroed behind its header.
    KelErrorData *item = kel_error_data_new(kel_set_error(&slot, base(), -1, "older"), 42, 9, sizeof(KelErrorData) + 32, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(item + 1), 32), std::string(32, '\0'));
    kel_set_error(&slot, base(), -2, "newer");
    kel_error_add_location(&slot);
    const int line = __LINE__ - 1;
    kel_error_add_blob(&slot, 0xdeadbeef, 12345);
    auto *blob = reinterpret_cast<KelErrorDataBlob *>(slot->data);
    EXPECT_TRUE(blob->header.domain == base() && blob->header.type == KEL_ERROR_DATA_BLOB && blob->header.free_func == nullptr
                && blob->data == 0xdeadbeefu && blob->size == 12345u && slot->next->data == item && item->next == nullptr);
    auto *loc = reinterpret_cast<KelErrorDataLocation *>(blob->header.next);
    EXPECT_TRUE(loc->header.type == KEL_ERROR_DATA_LOCATION && loc->header.next == nullptr && loc->line == line && loc->file == static_cast<const char *>(__FILE__)
                && std::string(loc->function) == G_STRFUNC);
}

// Oldest removed first; an error not in the chain changes nothing.
TEST_F(ErrorTest, ClearUntilRemovesOnlyNewerErrors)
{
    KelError *chain[3];  // chain[2] (head) -> chain[1] -> chain[0], each with one item
    for (int i = 0; i < 3; i++)
        add_tagged(chain[i] = kel_set_error(&slot, base(), -1 - i, "e"), i + 1);
    ErrorSlot foreign;
    EXPECT_FALSE(kel_clear_error_until(&slot, kel_set_error(&foreign, base(), -1, "foreign")));
    EXPECT_TRUE(slot.err == chain[2] && slot.length() == 3 && released.empty());
    EXPECT_TRUE(kel_clear_error_until(&slot, chain[2]) && slot.err == chain[2] && released.empty());
    EXPECT_TRUE(kel_clear_error_until(&slot, chain[0]) && slot.err == chain[0] && chain[0]->next == nullptr && tag(chain[0]->data) == 1);
    EXPECT_TRUE(kel_clear_error_until(&slot, nullptr) && slot.err == nullptr && released == (std::vector<int>{2, 3, 1}));
}

// Names one past each end of both code ranges are unknown; the JSON namer
// ignores the domain.
TEST(ErrorDomains, CodeNames)
{
    EXPECT_EQ(std::string(g_quark_to_string(kel_error_domain())) + " " + g_quark_to_string(kel_json_error_domain()), "kel-error kel-json-error");
    std::string names;
    for (int code = 1; code >= -8; code--)
        names += std::string(kel_status_code_to_name(base(), code)) + " ";
    for (int code = 0; code >= -10; code--)
        names += std::string(kel_json_code_to_name(0, code)) + " ";
    for (int code : {3, G_MININT})
        names += std::string(kel_status_code_to_name(base(), code)) + " " + kel_json_code_to_name(kel_json_error_domain(), code) + " ";
    EXPECT_EQ(names, "<unknown> KEL_SUCCESS KEL_ARG_INVALID KEL_RADIX_INVALID KEL_BUFFER_INSUFFICIENT KEL_ARG_CONVERSION KEL_ALLOC_FAIL "
                     "KEL_FN_NOT_IMPL KEL_IO_FAIL <unknown> <unknown code> KEL_JSON_ARG_INVALID KEL_JSON_TYPE_INVALID KEL_JSON_KEY_INVALID "
                     "KEL_JSON_INDEX_INVALID KEL_JSON_CIRCULAR_JREF KEL_JSON_PARSE_ERROR KEL_JSON_FEATURE_UNSUPPORTED KEL_JSON_POINTER_INVALID "
                     "KEL_JSON_CHILD_OWNED <unknown code> <unknown> <unknown code> <unknown> <unknown code> ");
}

// Registering one callback leaves the domain's others alone; __kel_init_func
// restores its own four callbacks and touches nothing else.
TEST_F(ErrorTest, RegistrationReplacesOneFieldAndInitOnlyItsOwn)
{
    kel_error_register_code_to_name(test_domain(), name_x);
    kel_error_register_data_to_json(test_domain(), empty_object);
    kel_error_register_code_to_name(test_domain(), name_y);
    EXPECT_TRUE(std::string(kel_error_code_to_name(test_domain(), 1)) == "Y" && item_json(test_domain(), 0) == "{}");
    kel_error_register_code_to_name(test_domain(), nullptr);  // clears just that field
    EXPECT_TRUE(kel_error_code_to_name(test_domain(), 1) == nullptr && item_json(test_domain(), 0) == "{}");
    kel_error_register_code_to_name(base(), name_x);
    kel_error_register_data_to_json(kel_json_error_domain(), empty_object);
    __kel_init_func();
    EXPECT_STREQ(kel_error_code_to_name(base(), -1), "KEL_ARG_INVALID");  // the JSON domain's namer: test_threads
    EXPECT_EQ(item_json(kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION, sizeof(KelJsonErrorDataPosition)), "{}");
}

// Only the location has a standard converter, and the JSON domain none; the
// expander names kel-error for any domain number, and only the two standard
// item types. A purge (harmless twice) empties the registry until the next
// registration starts a fresh one; JSON already made stays as it was.
TEST_F(ErrorTest, StandardRegistryConvertersAndPurge)
{
    EXPECT_EQ(item_json(kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION, sizeof(KelJsonErrorDataPosition)), "NULL");
    EXPECT_EQ(item_json(base(), KEL_ERROR_DATA_BLOB, sizeof(KelErrorDataBlob)) + " " + item_json(base(), 9), "NULL NULL");
    kel_set_error(&slot, base(), -1, "x"); __kel_error_add_location(&slot, "src/x.c", "do_it", 42);
    JsonRoot json(kel_error_data_to_json(slot->data));
    const std::string location = "{\"domain\":" + std::to_string(base()) + R"(,"file":"src/x.c","function":"do_it","line":42,"type":0})";
    EXPECT_TRUE(member(json, "domain")->type == KEL_JSON_UINT64 && member(json, "line")->type == KEL_JSON_INT64);
    kel_error_purge_registry();
    kel_error_purge_registry();
    EXPECT_TRUE(kel_error_code_to_name(base(), 0) == nullptr && kel_error_code_to_name(kel_json_error_domain(), -1) == nullptr);
    EXPECT_TRUE(kel_error_data_to_json(slot->data) == nullptr && !kel_error_json_expand(json, nullptr));
    EXPECT_EQ(dump(json), location);
    kel_error_register_code_to_name(test_domain(), name_x);
    EXPECT_TRUE(std::string(kel_error_code_to_name(test_domain(), 0)) == "X" && kel_error_code_to_name(base(), 0) == nullptr);
    __kel_init_func();
    auto expand = [](KelJson *object, decltype(&kel_error_json_expand) fn) { return fn(object, nullptr) ? dump(object) : "<not expanded>"; };
    EXPECT_EQ(expand(json, kel_error_json_expand), "{\"domain\":" + std::to_string(base()) + R"(,"domain_name":"kel-error","file":"src/x.c",)"
                                                       R"("function":"do_it","line":42,"type":0,"type_name":"KEL_ERROR_DATA_LOCATION"})");
    const std::pair<const char *, const char *> expanded[] = {
        {R"({"type":1,"domain":12345})", R"({"domain":12345,"domain_name":"kel-error","type":1,"type_name":"KEL_ERROR_DATA_BLOB"})"},
        {R"({"type":2})", R"({"domain_name":"kel-error","type":2})"}, {R"({"type":-1})", R"({"domain_name":"kel-error","type":-1})"}};
    for (const auto &[in, out] : expanded)
        EXPECT_EQ(expand(JsonRoot(parse(in)), std_payload_json_expand), out);
}

// Dispatch on the domain number: not for a missing or textual one, even with a
// registration for quark 0; the number is cut to 32 bits; the user argument
// passes through.
TEST_F(ErrorTest, ExpandDispatchesOnTheDomainNumber)
{
    kel_error_register_json_expand(0, counting_expand);
    kel_error_register_json_expand(test_domain(), counting_expand);
    EXPECT_FALSE(kel_error_json_expand(JsonRoot(parse("{}")), this) || kel_error_json_expand(JsonRoot(parse(R"({"domain": "kel-error"})")), this));
    JsonRoot wide(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_u64_base(wide, "domain", (G_GUINT64_CONSTANT(1) << 32) | test_domain(), nullptr);
    EXPECT_TRUE(kel_error_json_expand(wide, this) && !kel_error_json_expand(wide, nullptr) && expand_calls == 2);  // none above
}

TEST_F(ErrorTest, CallbacksMayUseTheRegistry)
{
    // Registering takes the writer lock: a deadlock if the lookup still held it.
    kel_error_register_code_to_name(test_domain(), [](GQuark, gint) {
        kel_error_register_code_to_name(test_domain(), name_y);
        return kel_error_code_to_name(kel_error_domain(), -1);
    });
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "KEL_ARG_INVALID");
    EXPECT_STREQ(kel_error_code_to_name(test_domain(), 0), "Y");  // replaced itself
}
