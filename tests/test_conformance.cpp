// Conformance with the public JSON parsing test collection (y_ accepted, n_
// rejected, i_ either) and round trips through the serializer, over the
// shared collection when present and always over tests/data/parsing.
#include <algorithm>
#include <map>

#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

// Documents the collection says to accept that this library refuses on purpose.
const std::map<std::string, std::string> kRejectedOnPurpose = {
    {"y_string_null_escape.json", "\\u0000 is refused: decoded strings are NUL-terminated C strings"},
    {"y_object_escaped_null_in_key.json", "\\u0000 is refused in member names too"},
    {"y_local_u0000_escape.json", "\\u0000 is refused (the local copy of the rule)"},
};

std::vector<std::string> json_files(const std::string &dir)
{
    std::vector<std::string> names;
    if (GDir *d = g_dir_open(dir.c_str(), 0, nullptr)) {
        while (const char *name = g_dir_read_name(d))
            if (g_str_has_suffix(name, ".json"))
                names.emplace_back(name);
        g_dir_close(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string &path)
{
    char *text = nullptr;
    gsize len = 0;
    std::string s = g_file_get_contents(path.c_str(), &text, &len, nullptr) ? std::string(text, len) : "";
    g_free(text);
    return s;
}

// Loads through a stream opened on the file, so every byte counts.
KelJson *load_file(const std::string &path, KelError **err)
{
    FILE *fh = fopen(path.c_str(), "rb");
    KelJson *json = fh ? kel_json_loadf(fh, 0, err) : nullptr;
    if (fh)
        fclose(fh);
    return json;
}

// Parsing what the serializer wrote and writing it again gives the same text.
void expect_round_trip(KelJson *json, const std::string &what)
{
    for (guint32 flags : {guint32{KEL_JSON_DUMP_SORTED}, guint32{KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_REAL_ROUNDTRIP}}) {
        const std::string first = dump(json, flags);
        ErrorSlot err;
        JsonRoot again(kel_json_loads(first.c_str(), 0, &err));
        ASSERT_NE(again.get(), nullptr) << what << ": " << err.message() << "\n" << first;
        EXPECT_EQ(dump(again, flags), first) << what;
    }
}

// Runs every file of a collection; returns {files, accepted, rejected}.
std::tuple<int, int, int> run_collection(const std::string &dir)
{
    int accepted_count = 0, rejected_count = 0;
    const auto names = json_files(dir);
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        const std::string path = dir + "/" + name;
        ErrorSlot err;
        JsonRoot json(load_file(path, &err));
        const bool accepted = json.get() != nullptr;
        (accepted ? accepted_count : rejected_count)++;
        EXPECT_EQ(accepted, !err) << err.message();
        for (const auto &e : chain_of(err.err)) {  // every rejection is a parse error with a position item
            EXPECT_EQ(e.code, KEL_JSON_PARSE_ERROR) << e.message;
            EXPECT_EQ(e.positions, 1) << e.message;
        }
        const std::string bytes = read_file(path);  // without NUL bytes the string source agrees
        if (bytes.find('\0') == std::string::npos) {
            JsonRoot again(kel_json_loads(bytes.c_str(), 0, nullptr));
            EXPECT_EQ(again.get() != nullptr, accepted);
            EXPECT_TRUE(!again.get() || dump(again) == dump(json));
        }
        const bool refused_on_purpose = kRejectedOnPurpose.count(name) > 0;
        if (name[0] == 'y') {
            EXPECT_EQ(accepted, !refused_on_purpose) << (accepted ? "listed as refused on purpose but accepted" : "rejected: " + err.message());
        } else if (name[0] == 'n') {
            EXPECT_FALSE(accepted) << "accepted: " << dump(json);
        }
        if (accepted)  // i_: either way, without crash or leak
            expect_round_trip(json, name);
    }
    return {static_cast<int>(names.size()), accepted_count, rejected_count};
}

}  // namespace

TEST(Conformance, SharedCollection)
{
    const std::string dir = KEL_TEST_SHARED_DIR "/jsontestsuite/test_parsing";
    if (!g_file_test(dir.c_str(), G_FILE_TEST_IS_DIR))
        GTEST_SKIP() << dir << " is absent";
    const auto [files, accepted, rejected] = run_collection(dir);
    EXPECT_GT(files, 300);
    EXPECT_GT(accepted, 90);
    EXPECT_GT(rejected, 180);
}

TEST(Conformance, LocalCollection)
{
    const auto [files, accepted, rejected] = run_collection(KEL_TEST_DATA_DIR "/parsing");
    EXPECT_GT(files, 10);
    EXPECT_GT(accepted, 0);
    EXPECT_GT(rejected, 0);
}

TEST(Conformance, CorpusRoundTrips)
{
    const std::string corpus = KEL_TEST_SHARED_DIR "/corpus";
    const auto names = json_files(corpus);
    if (names.empty())
        GTEST_SKIP() << corpus << " is absent";
    for (const std::string &name : names) {
        ErrorSlot err, err2;
        JsonRoot json(kel_json_loads(read_file(corpus + "/" + name).c_str(), 0, &err));
        JsonRoot from_file(load_file(corpus + "/" + name, &err2));
        ASSERT_TRUE(json.get() && from_file.get()) << name << ": " << err.message() << err2.message();
        EXPECT_EQ(dump(from_file), dump(json)) << name;
        expect_round_trip(json, name);
    }
}
