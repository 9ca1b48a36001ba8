// Untrusted input: the keyed member-name hash, bytes that must never be
// dropped silently, the expansion budget; and the member order it all keeps.
#include <string>

#include "parse_check.h"
#include "kel_internal.h"  // the hash is checked against published vectors

using namespace kel_test;

TEST(KeyHash, SipHashMatchesPublishedVectors)
{
    // Key 00..0f; messages 00, 00 01, ... (the reference implementation's
    // test vectors for SipHash-2-4, which shares its code with 1-3).
    unsigned char msg[64];
    for (int i = 0; i < 64; i++)
        msg[i] = static_cast<unsigned char>(i);
    const guint64 k0 = 0x0706050403020100ULL, k1 = 0x0F0E0D0C0B0A0908ULL;  // the key bytes, read little-endian
    EXPECT_EQ((kel::siphash<2, 4>(msg, 0, k0, k1)), 0x726fdb47dd0e0e31ULL);
    EXPECT_EQ((kel::siphash<2, 4>(msg, 15, k0, k1)), 0xa129ca6149be45e5ULL);
    EXPECT_NE((kel::siphash<1, 3>(msg, 15, k0, k1)), (kel::siphash<2, 4>(msg, 15, k0, k1)));
    // Names that collide under a plain multiplicative string hash ("Aa", "B@") do not
    // collide here, and the hash covers every byte up to the terminator.
    EXPECT_NE(kel::json_key_hash("Aa"), kel::json_key_hash("B@"));
    EXPECT_NE(kel::json_key_hash("abcdefgh1"), kel::json_key_hash("abcdefgh2"));
}

TEST(HostileInput, NumberEndedByInvalidUtf8IsRejected)
{
    // Each would otherwise end the number early and lose what follows.
    // The lexer's reason is the oldest error of the chain.
    for (const char *text : {"0\xE3", "[0\xE3,1]", "-12\x80", "1.5\xFF", "[1e5\xC0\x80]", "{\"a\":7\xED\xA0\x80}"})
        for (auto source : {kel_parse_test::Source::String, kel_parse_test::Source::Stream}) {
            kel_parse_test::Loaded r;
            kel_parse_test::load(source, text, 0, r);
            const auto chain = r.chain();
            ASSERT_TRUE(r.root.json == nullptr && !chain.empty()) << text;
            EXPECT_EQ(chain.front().code, KEL_JSON_PARSE_ERROR);
            EXPECT_EQ(chain.back().message, "Error decoding UTF-8 sequence") << text;
        }
    JsonRoot ok(parse("[0,\"\xC3\xA9\"]"));  // valid characters after numbers still read
    EXPECT_EQ(dump(ok), "[0,\"\xC3\xA9\"]");
}

namespace {

// Ten arrays, each holding ten references to the one before: about 10^9
// values once expanded, from under 2 KB of text.
std::string reference_bomb()
{
    std::string text = "{\"a0\":[1,2,3,4,5,6,7,8,9,10]";
    for (int level = 1; level < 10; level++) {
        text += ",\"a" + std::to_string(level) + "\":[";
        for (int i = 0; i < 10; i++)
            text += std::string(i ? "," : "") + "{\"$ref\":\"#/a" + std::to_string(level - 1) + "\"}";
        text += "]";
    }
    return text + "}";
}

}  // namespace

TEST(HostileInput, ExpansionBeyondTheBudgetChangesNothing)
{
    JsonRoot doc(parse(reference_bomb().c_str()));
    const std::string before = dump(doc);
    ErrorSlot err;
    EXPECT_FALSE(kel_json_jref_expand(doc, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED,
                     "Expanding reference \"/a5/7\" would create more than 1000000 values");
    EXPECT_EQ(dump(doc), before);

    // Many references to one target: linear work, well inside the budget.
    JsonRoot many(kel_json_obj_new_base(FALSE));
    kel_json_ptr_put_i64_base(many, "/t/x", 1, nullptr);
    KelJson *refs = kel_json_obj_put_array_base(many, "r", nullptr);
    for (int i = 0; i < 100000; i++)
        kel_json_array_push_base(refs, kel_json_jref_new_base("#/t", nullptr), nullptr);
    EXPECT_TRUE(kel_json_jref_expand(many, nullptr));
    EXPECT_EQ(dump(kel_json_array_get_base(refs, 99999, 0, nullptr)), "{\"x\":1}");
}

TEST(MemberOrder, FollowsFirstInsertion)
{
    JsonRoot doc(parse(R"({"z":1,"b":{"y":0,"x":0},"a":2,"z":3})"));  // a repeated name keeps its place
    EXPECT_EQ(dump(doc, 0), R"({"z":3,"b":{"y":0,"x":0},"a":2})");
    kel_json_obj_put_i64_base(doc, "b", 4, nullptr);  // replaced in place
    kel_json_obj_remove(doc, "z");
    kel_json_obj_put_null_base(doc, "z", nullptr);  // removed, then new: last
    EXPECT_EQ(dump(doc, 0), R"({"b":4,"a":2,"z":null})");
    EXPECT_EQ(dump(doc), R"({"a":2,"b":4,"z":null})");
    std::string walked;
    kel_json_obj_foreach(doc, [](const char *key, KelJson *, gpointer out) -> gboolean { return *static_cast<std::string *>(out) += key, TRUE; }, &walked);
    EXPECT_EQ(walked, "baz");

    // Copies, and borrowing objects, keep the order too.
    JsonRoot copy(kel_json_copy(doc));
    EXPECT_EQ(dump(copy, 0), R"({"b":4,"a":2,"z":null})");
    JsonRoot borrowed(kel_json_obj_new_base(TRUE));
    for (const char *k : {"q", "p", "q", "r"})
        kel_json_obj_put_base(borrowed, k, member(doc, "a"), nullptr);
    EXPECT_EQ(dump(borrowed, 0), R"({"q":2,"p":2,"r":2})");
}
