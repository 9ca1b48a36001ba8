// The %P formatter and kel_json_set_error.
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

// Formats with kel_json_ptr_printf into a fresh string; the byte count the
// call returned is left in *count.
template <typename... Args>
std::string fmt(gint32 *count, const char *format, Args... args)
{
    GString *s = g_string_new(nullptr);
    *count = kel_json_ptr_printf(s, format, args...);
    std::string text(s->str, s->len);
    g_string_free(s, TRUE);
    return text;
}

template <typename... Args>
std::string fmt(const char *format, Args... args)
{
    gint32 count = 0;
    std::string text = fmt(&count, format, args...);
    EXPECT_EQ(count, static_cast<gint32>(text.size())) << format;
    return text;
}

TEST(Format, PointerConversionQuotesThePath)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_array_base(root, "a", nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(fmt("Index %d is out of bounds for JSON array %P", 7, a),
              "Index 7 is out of bounds for JSON array \"/a\"");
    EXPECT_EQ(fmt("%P", root.get()), "\"\"");
    EXPECT_EQ(fmt("[%P]", static_cast<KelJson *>(nullptr)), "[\"\"]");
    // Flags and width written for %P are ignored.
    EXPECT_EQ(fmt("%-10P|", a), "\"/a\"|");
    KelJson *odd = kel_json_obj_put_obj_base(root, "%d~/", nullptr);
    EXPECT_EQ(fmt("%P %d", odd, 3), "\"/%d~0~1\" 3");
}

TEST(Format, IntegersAndStringsUseTheWholeDirective)
{
    EXPECT_EQ(fmt("%5d", 42), "   42");
    EXPECT_EQ(fmt("%-3s|", "x"), "x  |");
    EXPECT_EQ(fmt("%05d|%+d|% d", -42, 7, 7), "-0042|+7| 7");
    EXPECT_EQ(fmt("%.2s%s", "abcdef", ""), "ab");
    EXPECT_EQ(fmt("%d", G_MININT32), "-2147483648");
}

TEST(Format, PercentSigns)
{
    EXPECT_EQ(fmt("100%%"), "100%");
    EXPECT_EQ(fmt("%5%"), "%");
    EXPECT_EQ(fmt("%-#%x"), "%x");
    EXPECT_EQ(fmt("50%"), "50%");
    EXPECT_EQ(fmt("%-5"), "%-5");
    EXPECT_EQ(fmt("%"), "%");
}

TEST(Format, OtherConversionsAreCopiedWithoutTakingAnArgument)
{
    EXPECT_EQ(fmt("%u %x %d", 9), "%u %x 9");
    EXPECT_EQ(fmt("%i%o%X%e%E%f%F%g%G%a%A%c%p"), "%i%o%X%e%E%f%F%g%G%a%A%c%p");
    EXPECT_EQ(fmt("%08.3f|%s", "s"), "%08.3f|s");
    // Letters outside the delimiting set belong to the directive.
    EXPECT_EQ(fmt("%kP", static_cast<KelJson *>(nullptr)), "\"\"");
    // A length modifier on %d or %s is not forwarded to printf (it would
    // read an argument of another size); the argument is still taken.
    EXPECT_EQ(fmt("%ld|%*s|%d", 1, "x", 2), "%ld|%*s|2");
}

TEST(Format, ResultCountsOnlyAppendedBytes)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *b = kel_json_obj_put_obj_base(root, "b", nullptr);
    GString *s = g_string_new("prefix:");
    EXPECT_EQ(kel_json_ptr_printf(s, "%P", b), 4);
    EXPECT_EQ(kel_json_ptr_printf(s, ""), 0);
    EXPECT_STREQ(s->str, "prefix:\"/b\"");
    g_string_free(s, TRUE);
}

TEST(Format, ArgumentChecksWarn)
{
    LogCapture log;
    GString *s = g_string_new("x");
    EXPECT_EQ(kel_json_ptr_printf(nullptr, "a"), -1);
    EXPECT_EQ(log.last(), "kel_json_ptr_vprintf: assertion 'str' failed");
    EXPECT_EQ(kel_json_ptr_printf(s, nullptr), -1);
    EXPECT_EQ(log.last(), "kel_json_ptr_vprintf: assertion 'fmt' failed");
    EXPECT_STREQ(s->str, "x");
    g_string_free(s, TRUE);

    EXPECT_EQ(kel_json_ptr_aprintf(nullptr, "a"), -1);
    EXPECT_EQ(log.last(), "kel_json_ptr_aprintf: assertion 'str' failed");
    EXPECT_EQ(log.messages().size(), 3u);

    // A rejected format still hands out an (empty) string.
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr_aprintf(&out, nullptr), -1);
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out, "");
    g_free(out);
}

TEST(Format, Aprintf)
{
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr_aprintf(&out, "%s=%d", "n", 12), 4);
    EXPECT_STREQ(out, "n=12");
    g_free(out);
}

TEST(JsonSetError, PushesJsonDomainErrorsNewestFirst)
{
    ErrorSlot err;
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_array_base(root, "a", nullptr);
    kel_json_set_error(&err, KEL_JSON_INDEX_INVALID, "Index %d is out of bounds for JSON array %P", 3, a);
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "JSON object %P does not have key %s", root.get(), "k");
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key k");
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    ASSERT_NE(err->next, nullptr);
    EXPECT_EQ(err->next->gerror->domain, kel_json_error_domain());
    EXPECT_EQ(err->next->gerror->code, KEL_JSON_INDEX_INVALID);
    EXPECT_STREQ(err->next->gerror->message, "Index 3 is out of bounds for JSON array \"/a\"");
    EXPECT_EQ(err->next->next, nullptr);
    EXPECT_EQ(err->data, nullptr);
}

TEST(JsonSetError, MessageIsNotFormattedTwice)
{
    ErrorSlot err;
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *pct = kel_json_obj_put_obj_base(root, "100%s%n", nullptr);
    kel_json_set_error(&err, KEL_JSON_TYPE_INVALID, "%s: bad %P (%s)", "op%d", pct, "%%");
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "op%d: bad \"/100%s%n\" (%%)");
}

TEST(JsonSetError, NullSlotFormatsNothing)
{
    // The bogus %s argument would crash if the format were read.
    kel_json_set_error(nullptr, KEL_JSON_ARG_INVALID, "%s", reinterpret_cast<const char *>(0x8));
    SUCCEED();
}

}  // namespace
