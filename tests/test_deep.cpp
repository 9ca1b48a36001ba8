// Deep trees built through the API, not the parser: every walk over a
// 1,000,000-deep chain must finish without exhausting the stack.
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;

namespace {

constexpr int kDepth = 1000000;

// A chain of `depth` nested containers; returns the root, *leaf the innermost.
KelJson *chain(bool objects, int depth, KelJson **leaf)
{
    KelJson *root = objects ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < depth; i++)
        current = objects ? kel_json_obj_put_obj_base(current, "k", nullptr)
                          : kel_json_array_push_array_base(current, nullptr);
    *leaf = current;
    return root;
}

int count_values(KelJson *, gpointer data)
{
    ++*static_cast<long *>(data);
    return KEL_JSON_VISIT_CONTINUE;
}

class DeepChain : public ::testing::TestWithParam<bool> {};

}  // namespace

TEST_P(DeepChain, EveryWalkFinishes)
{
    const bool objects = GetParam();
    KelJson *leaf = nullptr;
    KelJson *root = chain(objects, kDepth, &leaf);
    ASSERT_NE(leaf, nullptr);

    // Pointer text of the innermost value.
    char *path = nullptr;
    const gint32 len = kel_json_ptr(leaf, &path);
    ASSERT_EQ(len, 2 * (kDepth - 1));
    EXPECT_EQ(std::string(path, 4), objects ? "/k/k" : "/0/0");
    g_free(path);

    // Visiting sees every value once.
    KelJsonVisitor visitor{};
    visitor.on_value = count_values;
    long values = 0;
    EXPECT_TRUE(kel_json_visit(root, &visitor, &values));
    EXPECT_EQ(values, kDepth);

    // Dumping writes the whole chain.
    char *text = nullptr;
    ASSERT_TRUE(kel_json_sdump(root, &text, KEL_JSON_DUMP_SORTED));
    const size_t per_level = objects ? std::string("{\"k\":}").size() : 2;
    EXPECT_EQ(std::string(text).size(), per_level * (kDepth - 1) + 2);
    g_free(text);

    // Copy, compare and expand.
    KelJson *copy = kel_json_copy(root);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(kel_json_subset(root, copy, KEL_JSON_SUBSET_EQUAL),
              kel_json_subset(copy, root, KEL_JSON_SUBSET_EQUAL));
    ErrorSlot err;
    EXPECT_TRUE(kel_json_jref_expand(copy, &err));
    EXPECT_FALSE(err);
    kel_json_unref(copy);

    // Release is iterative.
    kel_json_unref(root);
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, DeepChain, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });
