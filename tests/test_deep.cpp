// Deep trees built through the API, not the parser: every walk over a
// 1,000,000-deep chain must finish without exhausting the stack (the visitor
// has its own test).
#include "test_util.h"

using namespace kel_test;

class DeepChain : public ::testing::TestWithParam<bool> {};

TEST_P(DeepChain, EveryWalkFinishes)
{
    constexpr int kDepth = 1000000;
    const bool objects = GetParam();
    KelJson *leaf = nullptr;
    KelJson *root = deep_chain(objects, kDepth, &leaf);
    char *path = nullptr;
    ASSERT_EQ(kel_json_ptr(leaf, &path), 2 * (kDepth - 1));
    EXPECT_EQ(std::string(path, 4), objects ? "/k/k" : "/0/0");
    g_free(path);
    char *text = nullptr;
    ASSERT_TRUE(kel_json_sdump(root, &text, KEL_JSON_DUMP_SORTED));
    EXPECT_EQ(strlen(text), (objects ? 6u : 2u) * (kDepth - 1) + 2);  // {"k":} or [] per level
    g_free(text);
    KelJson *copy = kel_json_copy(root);
    EXPECT_TRUE(kel_json_subset(root, copy, KEL_JSON_SUBSET_EQUAL) && kel_json_subset(copy, root, KEL_JSON_SUBSET_EQUAL));
    ErrorSlot err;
    EXPECT_TRUE(kel_json_jref_expand(copy, &err));
    EXPECT_FALSE(err);
    kel_json_unref(copy);
    kel_json_unref(root);  // release is iterative
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, DeepChain, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });
