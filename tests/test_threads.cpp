// Threads: separate documents on separate threads, and the process-wide error
// registry under concurrent registration, lookup and purge. This file also
// runs under ThreadSanitizer.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "test_util.h"

namespace {

constexpr int kThreads = 4;

const char *name_a(GQuark, gint) { return "A"; }
const char *name_b(GQuark, gint) { return "B"; }

// A callback that registers from inside a lookup: callbacks run outside the
// registry's lock, so this must not deadlock.
const char *name_registering(GQuark domain, gint)
{
    kel_error_register_code_to_name(domain, name_a);
    return "R";
}

std::string document_text(int seed)
{
    std::string text = "{\"id\":" + std::to_string(seed) + ",\"list\":[";
    for (int i = 0; i < 200; i++)
        text += (i ? "," : "") + std::string("{\"n\":") + std::to_string(i * seed) +
                ",\"s\":\"v" + std::to_string(i) + "\",\"d\":1.5,\"r\":{\"$ref\":\"#/id\"}}";
    return text + "]}";
}

int count_values(KelJson *, gpointer data)
{
    ++*static_cast<int *>(data);
    return KEL_JSON_VISIT_CONTINUE;
}

}  // namespace

TEST(Threads, SeparateDocumentsOnSeparateThreads)
{
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([t, &failures] {
            for (int round = 0; round < 20; round++) {
                const std::string text = document_text(t + 1);
                KelError *err = nullptr;
                KelJson *doc = kel_json_loads(text.c_str(), 0, &err);
                if (doc == nullptr) {
                    failures++;
                    kel_clear_error(&err);
                    continue;
                }
                KelJsonVisitor visitor{};
                visitor.on_value = count_values;
                int values = 0;
                if (!kel_json_visit(doc, &visitor, &values) || values != 1 + 2 + 200 * 5)
                    failures++;
                char *out = nullptr;
                if (!kel_json_sdump(doc, &out, KEL_JSON_DUMP_SORTED))
                    failures++;
                KelJson *again = kel_json_loads(out, 0, nullptr);
                if (!kel_json_subset(doc, again, KEL_JSON_SUBSET_EQUAL))
                    failures++;
                if (!kel_json_jref_expand(again, &err))
                    failures++;
                kel_clear_error(&err);
                g_free(out);
                kel_json_unref(again);
                kel_json_unref(doc);
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
}

TEST(Threads, RegistryUnderConcurrentRegistrationLookupAndPurge)
{
    // Quarks are made up front: quark creation is GLib's business, not the registry's.
    std::vector<GQuark> domains;
    for (int i = 0; i < kThreads; i++)
        domains.push_back(g_quark_from_string(("kel-test-domain-" + std::to_string(i)).c_str()));
    const GQuark base = kel_error_domain();
    const GQuark json = kel_json_error_domain();

    std::atomic<int> bad_names{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; i++) {
                const GQuark mine = domains[t];
                kel_error_register_code_to_name(mine, (i & 1) ? name_a : name_b);
                const char *name = kel_error_code_to_name(mine, 1);
                // Another thread may purge between the two calls.
                if (name != nullptr && std::string(name) != "A" && std::string(name) != "B")
                    bad_names++;
                const char *std_name = kel_error_code_to_name(base, KEL_BUFFER_INSUFFICIENT);
                if (std_name != nullptr && std::string(std_name) != "KEL_BUFFER_INSUFFICIENT")
                    bad_names++;
                if (t == 0 && i % 100 == 0)
                    kel_error_purge_registry();
                if (t == 1 && i % 50 == 0) {
                    kel_error_register_code_to_name(domains[1], name_registering);
                    kel_error_code_to_name(domains[1], 0);
                    __kel_init_func();
                }
                KelJson *obj = kel_json_obj_new_base(FALSE);
                kel_json_obj_put_u64_base(obj, "domain", base, nullptr);
                kel_json_obj_put_i64_base(obj, "type", KEL_ERROR_DATA_LOCATION, nullptr);
                kel_error_json_expand(obj, nullptr);
                kel_json_unref(obj);
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(bad_names.load(), 0);

    // Leave the process as the library's loader left it.
    kel_error_purge_registry();
    __kel_init_func();
    EXPECT_STREQ(kel_error_code_to_name(json, KEL_JSON_PARSE_ERROR), "KEL_JSON_PARSE_ERROR");
}
