// Conformance with the public JSON parsing test collection (y_ must be
// accepted, n_ rejected, i_ either), and round trips through the
// serializer. Runs over the shared collection when present and always over
// the small collection in tests/data/parsing.
#include <dirent.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

const std::string kSharedParsing = KEL_TEST_SHARED_DIR "/jsontestsuite/test_parsing";
const std::string kLocalParsing = KEL_TEST_DATA_DIR "/parsing";
const std::string kCorpus = KEL_TEST_SHARED_DIR "/corpus";

// Documents of the collection that must be accepted in general but that
// this library refuses on purpose.
const std::map<std::string, std::string> kRejectedOnPurpose = {
    {"y_string_null_escape.json",
     "\\u0000 is refused: decoded strings are NUL-terminated C strings"},
    {"y_object_escaped_null_in_key.json", "\\u0000 is refused in member names too"},
    {"y_local_u0000_escape.json", "\\u0000 is refused (the local copy of the rule)"},
};

bool is_dir(const std::string &path)
{
    DIR *d = opendir(path.c_str());
    if (d == nullptr)
        return false;
    closedir(d);
    return true;
}

std::vector<std::string> json_files(const std::string &dir)
{
    std::vector<std::string> names;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return names;
    while (const dirent *e = readdir(d)) {
        const std::string name = e->d_name;
        if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0)
            names.push_back(name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Loads a file through a stream opened on it, so every byte counts.
KelJson *load_file(const std::string &path, KelError **err)
{
    FILE *fh = fopen(path.c_str(), "rb");
    EXPECT_NE(fh, nullptr) << path;
    if (fh == nullptr)
        return nullptr;
    KelJson *json = kel_json_loadf(fh, 0, err);
    fclose(fh);
    return json;
}

// dump(parse(text)) is stable: parsing what the serializer wrote and writing
// it again gives the same text.
void expect_round_trip(KelJson *json, const std::string &what)
{
    for (guint32 flags : {guint32{KEL_JSON_DUMP_SORTED},
                          guint32{KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_REAL_ROUNDTRIP}}) {
        const std::string first = dump(json, flags);
        ASSERT_NE(first, "<dump failed>") << what;
        ErrorSlot err;
        JsonRoot again(kel_json_loads(first.c_str(), 0, &err));
        ASSERT_NE(again.get(), nullptr) << what << ": " << err.message() << "\n" << first;
        EXPECT_EQ(dump(again, flags), first) << what;
    }
}

struct Counts {
    int accepted = 0, rejected = 0;
};

// Runs every file of a collection; returns the number of files seen.
int run_collection(const std::string &dir, Counts &counts)
{
    const auto names = json_files(dir);
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        const std::string path = dir + "/" + name;
        ErrorSlot err;
        JsonRoot json(load_file(path, &err));
        const bool accepted = json.get() != nullptr;
        accepted ? counts.accepted++ : counts.rejected++;
        if (accepted) {
            EXPECT_FALSE(err) << err.message();
        } else {
            // Every rejection is a parse error with a position item.
            const auto chain = chain_of(err.err);
            EXPECT_FALSE(chain.empty());
            for (const auto &e : chain) {
                EXPECT_EQ(e.code, KEL_JSON_PARSE_ERROR) << e.message;
                EXPECT_EQ(e.positions, 1) << e.message;
            }
        }

        // Without embedded NUL bytes, the string source must agree.
        const std::string bytes = read_file(path);
        if (bytes.find('\0') == std::string::npos) {
            JsonRoot again(kel_json_loads(bytes.c_str(), 0, nullptr));
            EXPECT_EQ(again.get() != nullptr, accepted);
            if (accepted && again.get() != nullptr) {
                EXPECT_EQ(dump(again), dump(json));
            }
        }

        switch (name[0]) {
        case 'y': {
            const auto on_purpose = kRejectedOnPurpose.find(name);
            if (on_purpose == kRejectedOnPurpose.end())
                EXPECT_TRUE(accepted) << "rejected: " << err.message();
            else
                EXPECT_FALSE(accepted) << "listed as refused on purpose (" << on_purpose->second
                                       << ") but accepted";
            break;
        }
        case 'n':
            EXPECT_FALSE(accepted) << "accepted: " << dump(json);
            break;
        default:
            break;  // i_: either way, without crash or leak
        }
        if (accepted)
            expect_round_trip(json, name);
    }
    return static_cast<int>(names.size());
}

}  // namespace

TEST(Conformance, SharedCollection)
{
    if (!is_dir(kSharedParsing))
        GTEST_SKIP() << kSharedParsing << " is absent";
    Counts counts;
    EXPECT_GT(run_collection(kSharedParsing, counts), 300);
    EXPECT_GT(counts.accepted, 90);
    EXPECT_GT(counts.rejected, 180);
}

TEST(Conformance, LocalCollection)
{
    Counts counts;
    ASSERT_GT(run_collection(kLocalParsing, counts), 10) << kLocalParsing;
    EXPECT_GT(counts.accepted, 0);
    EXPECT_GT(counts.rejected, 0);
}

TEST(Conformance, CorpusRoundTrips)
{
    const auto names = json_files(kCorpus);
    if (names.empty())
        GTEST_SKIP() << kCorpus << " is absent";
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        const std::string bytes = read_file(kCorpus + "/" + name);
        ErrorSlot err;
        JsonRoot json(kel_json_loads(bytes.c_str(), 0, &err));
        ASSERT_NE(json.get(), nullptr) << err.message();
        ErrorSlot err2;
        JsonRoot from_file(load_file(kCorpus + "/" + name, &err2));
        ASSERT_NE(from_file.get(), nullptr) << err2.message();
        EXPECT_EQ(dump(from_file), dump(json));
        expect_round_trip(json, name);
    }
}
