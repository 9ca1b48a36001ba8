// Threads: separate documents on separate threads, values released on another
// thread than made them, and the process-wide error registry under concurrent
// registration, lookup, conversion and purge. This file also runs under
// ThreadSanitizer.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "test_util.h"

using kel_test::JsonRoot;

namespace {

constexpr int kThreads = 4;

template <typename F>
void on_threads(F body)
{
    std::vector<std::jthread> threads;  // joined as they go
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back(body, t);
}

// Each thread's domain answers with the thread's own name, so a lookup can
// only see its own callback or nothing (after a purge).
const char *thread_names[] = {"t0", "t1", "t2", "t3"};
template <int N>
const char *name_of(GQuark, gint) { return thread_names[N]; }
const KelErrorCodeToNameFunc thread_namers[] = {name_of<0>, name_of<1>, name_of<2>, name_of<3>};
gboolean expand_nothing(KelJson *, gpointer) { return TRUE; }

}  // namespace

TEST(Threads, SeparateDocumentsOnSeparateThreads)
{
    std::atomic<int> failures{0};
    on_threads([&](int t) {
        std::string text = "{\"id\":" + std::to_string(t) + ",\"list\":[";
        for (int i = 0; i < 200; i++)
            text += (i ? ",{\"n\":" : "{\"n\":") + std::to_string(i * t) + ",\"s\":\"v" + std::to_string(i) + "\",\"d\":1.5,\"r\":{\"$ref\":\"#/id\"}}";
        text += "]}";
        KelJsonVisitor visitor{};
        visitor.on_value = [](KelJson *, gpointer data) { return ++*static_cast<int *>(data), 0; };
        for (int round = 0; round < 20; round++) {
            kel_test::ErrorSlot err;
            JsonRoot doc(kel_json_loads(text.c_str(), 0, &err));
            int values = 0;
            g_autofree char *out = nullptr;
            failures += !doc || !kel_json_visit(doc, &visitor, &values) || values != 1 + 2 + 200 * 5 ||
                        !kel_json_sdump(doc, &out, KEL_JSON_DUMP_SORTED);
            JsonRoot again(kel_json_loads(out ? out : "", 0, nullptr));
            failures += !kel_json_subset(doc, again, KEL_JSON_SUBSET_EQUAL) || !kel_json_jref_expand(again, &err);
        }
    });
    EXPECT_EQ(failures.load(), 0);
}

TEST(Threads, RegistryUnderConcurrentRegistrationLookupAndPurge)
{
    GQuark domains[kThreads];  // quark creation is GLib's business, done up front
    for (int t = 0; t < kThreads; t++)
        domains[t] = g_quark_from_string(("kel-test-thread-" + std::to_string(t)).c_str());
    // GLib sets up its error-domain lock with the first GError; do it here so
    // ThreadSanitizer (GLib is not instrumented) does not blame the threads.
    kel_error_free(kel_error_new(nullptr, kel_error_domain(), -1, "warm-up"));
    std::atomic<int> wrong{0};
    on_threads([&](int t) {
        kel_test::ErrorSlot mine;
        kel_set_error(&mine, kel_error_domain(), -1, "x");
        __kel_error_add_location(&mine, "f", "g", t);
        for (int i = 0; i < 3000; i++) {
            kel_error_register_code_to_name(domains[t], thread_namers[t]);
            kel_error_register_json_expand(domains[t], expand_nothing);
            const char *name = kel_error_code_to_name(domains[t], 0), *base = kel_error_code_to_name(kel_error_domain(), -2);
            wrong += (name && std::string(name) != thread_names[t]) + (base && std::string(base) != "KEL_RADIX_INVALID");
            kel_error_json_expand(JsonRoot(kel_error_data_to_json(mine->data)), nullptr);  // NULL after a purge
            if (t == 0 && i % 50 == 0)
                kel_error_purge_registry();
            if (t == 1 && i % 70 == 0)
                __kel_init_func();
        }
    });
    EXPECT_EQ(wrong, 0);
    kel_error_purge_registry();  // leave the process as loading left it
    __kel_init_func();
    for (int t = 0; t < kThreads; t++) {
        kel_error_register_code_to_name(domains[t], thread_namers[t]);
        EXPECT_STREQ(kel_error_code_to_name(domains[t], 0), thread_names[t]);
    }
    EXPECT_STREQ(kel_error_code_to_name(kel_json_error_domain(), KEL_JSON_PARSE_ERROR), "KEL_JSON_PARSE_ERROR");
}

// Trees built on one thread are released on another, and the threads end
// (handing their cached nodes back) round after round; one tree per releasing
// thread is released only as that thread ends. The nodes then serve new
// documents on the main thread.
TEST(Threads, ValuesReleasedOnAnotherThread)
{
    struct LateRelease { KelJson *tree = nullptr; ~LateRelease() { kel_json_unref(tree); } };
    std::mutex lock;
    std::condition_variable ready;
    std::vector<std::pair<KelJson *, std::string>> handed;  // trees with their dumps
    std::atomic<int> wrong{0};
    for (int round = 0; round < 6; round++) {
        on_threads([&](int t) {
            thread_local LateRelease late;  // set up before this thread's node cache, so it goes after it
            for (int i = 0; i < 300; i++) {
                if (t % 2 == 0) {
                    const std::string n = std::to_string(round * 1000 + i);
                    KelJson *tree = kel_json_loads(("{\"n\":" + n + ",\"l\":[1,\"s" + n + "\",2.5,{\"k\":null}]}").c_str(), 0, nullptr);
                    kel_json_obj_put_str_base(tree, "t", n.c_str(), nullptr);
                    kel_json_array_push_i64_base(kel_json_obj_get_array_base(tree, "l", nullptr), -i, nullptr);
                    std::lock_guard<std::mutex> guard(lock);
                    handed.emplace_back(tree, kel_test::dump(tree));
                    ready.notify_one();
                    continue;
                }
                std::unique_lock<std::mutex> guard(lock);
                ready.wait(guard, [&] { return !handed.empty(); });
                const auto [tree, text] = handed.back();
                handed.pop_back();
                guard.unlock();
                wrong += kel_test::dump(tree) != text;
                kel_json_unref(late.tree ? tree : std::exchange(late.tree, tree));  // the first one is kept until the thread ends
            }
        });
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_TRUE(handed.empty());
    std::string text = "[";
    for (int i = 0; i < 20000; i++)
        text += (i ? ",{\"i\":" : "{\"i\":") + std::to_string(i) + ",\"s\":\"x" + std::to_string(i) + "\",\"a\":[null,true]}";
    text += "]";
    JsonRoot doc(kel_json_loads(text.c_str(), 0, nullptr));
    EXPECT_EQ(kel_test::dump(doc, 0), text);
}
