// Error records, chains, data items and the code names of both domains.
#include <vector>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::LogCapture;

namespace {

GQuark base() { return kel_error_domain(); }

int chain_length(const KelError *e)
{
    int n = 0;
    for (; e != nullptr; e = e->next)
        n++;
    return n;
}

// An item whose free_func records its tag, to observe release order.
struct TaggedItem {
    KelErrorData header;
    int tag;
};

std::vector<int> released;

void record_release(KelErrorData *item)
{
    released.push_back(reinterpret_cast<TaggedItem *>(item)->tag);
}

void add_tagged(KelError *error, int tag, bool with_free_func = true)
{
    auto *item = reinterpret_cast<TaggedItem *>(kel_error_data_new(
        error, 1234, 7, sizeof(TaggedItem), with_free_func ? record_release : nullptr));
    item->tag = tag;
}

class ErrorTest : public ::testing::Test {
protected:
    void SetUp() override { released.clear(); }
};

}  // namespace

TEST_F(ErrorTest, SetErrorStacksNewestFirst)
{
    ErrorSlot slot;
    KelError *first = kel_set_error(&slot, base(), KEL_ARG_INVALID, "first %d", 1);
    KelError *second = kel_set_error(&slot, base(), KEL_IO_FAIL, "second %s", "two");
    ASSERT_EQ(second, slot.err);
    EXPECT_EQ(chain_length(slot.err), 2);
    EXPECT_EQ(slot.code(), KEL_IO_FAIL);
    EXPECT_EQ(slot.message(), "second two");
    ASSERT_EQ(slot->next, first);
    EXPECT_EQ(first->gerror->code, KEL_ARG_INVALID);
    EXPECT_STREQ(first->gerror->message, "first 1");
    EXPECT_EQ(first->next, nullptr);

    // kel_error_new and kel_error_from_gerror take ownership of next.
    GError *g = g_error_new_literal(G_FILE_ERROR, G_FILE_ERROR_NOENT, "no such file");
    KelError *wrapped = kel_error_from_gerror(kel_error_new(nullptr, base(), -1, "low"), g);
    EXPECT_EQ(wrapped->gerror, g);
    EXPECT_STREQ(wrapped->next->gerror->message, "low");
    kel_error_free(wrapped);
}

TEST_F(ErrorTest, NullSlotsAndChecks)
{
    LogCapture log;
    EXPECT_EQ(kel_set_error(nullptr, base(), -1, "ignored"), nullptr);
    kel_clear_error(nullptr);
    kel_error_free(nullptr);
    __kel_error_add_location(nullptr, "f.c", "fn", 1);
    KelError *empty = nullptr;
    __kel_error_add_location(&empty, "f.c", "fn", 1);
    kel_error_add_blob(&empty, 1, 2);
    EXPECT_EQ(empty, nullptr);
    EXPECT_TRUE(log.messages().empty());  // "no details wanted" is not an error

    EXPECT_EQ(kel_error_from_gerror(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.last(), "kel_error_from_gerror: assertion 'gerror' failed");
    EXPECT_EQ(kel_error_data_new(nullptr, base(), 0, 64, nullptr), nullptr);
    EXPECT_EQ(log.last(), "kel_error_data_new: assertion 'error' failed");
    kel_error_merge(nullptr, &empty);
    EXPECT_EQ(log.last(), "kel_error_merge: assertion 'dest' failed");
    kel_error_merge(&empty, nullptr);
    EXPECT_EQ(log.last(), "kel_error_merge: assertion 'src' failed");
}

TEST_F(ErrorTest, LongChainIsFreedIteratively)
{
    KelError *e = nullptr;
    for (int i = 0; i < 200000; i++)
        e = kel_error_new(e, base(), -1, "e");
    kel_error_free(e);
}

TEST_F(ErrorTest, DataItemsReleasedOldestFirst)
{
    KelError *e = kel_error_new(nullptr, base(), -1, "x");
    add_tagged(e, 1);
    add_tagged(e, 2, false);  // no free_func: simply released
    add_tagged(e, 3);
    EXPECT_EQ(reinterpret_cast<TaggedItem *>(e->data)->tag, 3);  // newest first
    kel_error_free(e);
    EXPECT_EQ(released, (std::vector<int>{1, 3}));
}

TEST_F(ErrorTest, LocationAndBlobItems)
{
    ErrorSlot slot;
    kel_set_error(&slot, base(), -1, "older");
    kel_set_error(&slot, base(), -2, "newer");
    kel_error_add_location(&slot);
    const int line = __LINE__ - 1;
    kel_error_add_blob(&slot, 0xdeadbeef, 12345);

    EXPECT_EQ(slot->next->data, nullptr);  // both went to the head
    auto *blob = reinterpret_cast<KelErrorDataBlob *>(slot->data);
    EXPECT_EQ(blob->header.domain, base());
    EXPECT_EQ(blob->header.type, KEL_ERROR_DATA_BLOB);
    EXPECT_EQ(blob->header.free_func, nullptr);
    EXPECT_EQ(blob->data, 0xdeadbeefu);
    EXPECT_EQ(blob->size, 12345u);

    auto *loc = reinterpret_cast<KelErrorDataLocation *>(blob->header.next);
    EXPECT_EQ(loc->header.type, KEL_ERROR_DATA_LOCATION);
    EXPECT_EQ(loc->header.next, nullptr);
    EXPECT_EQ(loc->file, static_cast<const char *>(__FILE__));  // stored by reference
    EXPECT_STREQ(loc->function, G_STRFUNC);
    EXPECT_EQ(loc->line, line);

    // A caller-sized item is zeroed behind its header.
    KelErrorData *item = kel_error_data_new(slot.err, 42, 9, sizeof(KelErrorData) + 32, nullptr);
    const auto *payload = reinterpret_cast<const unsigned char *>(item + 1);
    EXPECT_EQ(std::vector<unsigned char>(payload, payload + 32), std::vector<unsigned char>(32));
}

// ---- kel_clear_error_until -------------------------------------------------

class ClearUntilTest : public ErrorTest {
protected:
    // Chain c (head) -> b -> a, each record with one tagged item.
    void SetUp() override
    {
        ErrorTest::SetUp();
        a = kel_set_error(&slot, base(), -1, "a");
        add_tagged(a, 1);
        b = kel_set_error(&slot, base(), -2, "b");
        add_tagged(b, 2);
        c = kel_set_error(&slot, base(), -3, "c");
        add_tagged(c, 3);
    }
    ErrorSlot slot;
    KelError *a = nullptr, *b = nullptr, *c = nullptr;
};

TEST_F(ClearUntilTest, UntilHeadOrMiddle)
{
    EXPECT_TRUE(kel_clear_error_until(&slot, c));
    EXPECT_EQ(slot.err, c);
    EXPECT_TRUE(released.empty());

    EXPECT_TRUE(kel_clear_error_until(&slot, a));
    EXPECT_EQ(slot.err, a);
    EXPECT_EQ(a->next, nullptr);
    EXPECT_EQ(released, (std::vector<int>{2, 3}));  // oldest removed first
    EXPECT_EQ(reinterpret_cast<TaggedItem *>(a->data)->tag, 1);  // a keeps its item
}

TEST_F(ClearUntilTest, UntilNullFreesEverything)
{
    EXPECT_TRUE(kel_clear_error_until(&slot, nullptr));
    EXPECT_EQ(slot.err, nullptr);
    EXPECT_EQ(released, (std::vector<int>{1, 2, 3}));
}

TEST_F(ClearUntilTest, ForeignUntilChangesNothing)
{
    KelError *foreign = kel_error_new(nullptr, base(), -1, "foreign");
    EXPECT_FALSE(kel_clear_error_until(&slot, foreign));
    EXPECT_FALSE(kel_clear_error_until(nullptr, foreign));
    EXPECT_TRUE(kel_clear_error_until(nullptr, nullptr));
    kel_error_free(foreign);
    EXPECT_EQ(slot.err, c);
    EXPECT_EQ(c->next, b);  // links as before
    EXPECT_EQ(b->next, a);
    EXPECT_EQ(a->next, nullptr);
    EXPECT_TRUE(released.empty());
}

TEST_F(ErrorTest, MergePutsSrcOnTop)
{
    ErrorSlot dest, src;
    kel_error_merge(&dest, &src);  // both empty: nothing happens
    EXPECT_EQ(dest.err, nullptr);

    KelError *s1 = kel_set_error(&src, base(), -1, "s1");
    kel_error_merge(&dest, &src);  // into empty dest: moved unchanged
    EXPECT_EQ(dest.err, s1);
    EXPECT_EQ(src.err, nullptr);

    KelError *t1 = kel_set_error(&src, base(), -2, "t1");
    KelError *t2 = kel_set_error(&src, base(), -3, "t2");
    kel_error_merge(&dest, &src);
    EXPECT_EQ(src.err, nullptr);
    EXPECT_EQ(dest.err, t2);
    EXPECT_EQ(t2->next, t1);
    EXPECT_EQ(t1->next, s1);
    EXPECT_EQ(chain_length(dest.err), 3);
}

TEST(ErrorDomains, CodeNames)
{
    const GQuark d = kel_error_domain();
    EXPECT_STREQ(g_quark_to_string(d), "kel-error");
    EXPECT_STREQ(g_quark_to_string(kel_json_error_domain()), "kel-json-error");

    const char *status[] = {"KEL_SUCCESS",        "KEL_ARG_INVALID", "KEL_RADIX_INVALID",
                            "KEL_BUFFER_INSUFFICIENT", "KEL_ARG_CONVERSION", "KEL_ALLOC_FAIL",
                            "KEL_FN_NOT_IMPL",    "KEL_IO_FAIL"};
    for (int code = 0; code >= -7; code--)
        EXPECT_STREQ(kel_status_code_to_name(d, code), status[-code]);
    for (int code : {1, -8, G_MININT})
        EXPECT_STREQ(kel_status_code_to_name(d, code), "<unknown>");
    EXPECT_STREQ(kel_status_code_to_name(kel_json_error_domain(), 0), "<unknown>");

    const char *json[] = {"KEL_JSON_ARG_INVALID",         "KEL_JSON_TYPE_INVALID",
                          "KEL_JSON_KEY_INVALID",         "KEL_JSON_INDEX_INVALID",
                          "KEL_JSON_CIRCULAR_JREF",       "KEL_JSON_PARSE_ERROR",
                          "KEL_JSON_FEATURE_UNSUPPORTED", "KEL_JSON_POINTER_INVALID",
                          "KEL_JSON_CHILD_OWNED"};
    for (int code = -1; code >= -9; code--)
        EXPECT_STREQ(kel_json_code_to_name(0, code), json[-code - 1]);  // any domain
    for (int code : {0, 3, -10, G_MININT})
        EXPECT_STREQ(kel_json_code_to_name(kel_json_error_domain(), code), "<unknown code>");
}
