// Helpers shared by the test files.
#pragma once

#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>

#include <functional>
#include <string>
#include <vector>

#include "kel.h"

namespace kel_test {

// Records GLib messages (warnings, criticals) logged without a domain while
// alive, instead of printing them.
class LogCapture {
public:
    LogCapture() { previous_ = g_log_set_default_handler(&LogCapture::handler, this); }
    ~LogCapture() { g_log_set_default_handler(previous_, nullptr); }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    const std::vector<std::string> &messages() const { return messages_; }
    std::string last() const { return messages_.empty() ? std::string() : messages_.back(); }
    void clear() { messages_.clear(); }

private:
    static void handler(const gchar *, GLogLevelFlags, const gchar *message, gpointer self)
    {
        static_cast<LogCapture *>(self)->messages_.emplace_back(message ? message : "");
    }
    GLogFunc previous_;
    std::vector<std::string> messages_;
};

// Owns an error chain for the duration of a test.
struct ErrorSlot {
    KelError *err = nullptr;
    ~ErrorSlot() { kel_clear_error(&err); }
    KelError **operator&() { return &err; }
    KelError *operator->() const { return err; }
    explicit operator bool() const { return err != nullptr; }
    int code() const { return err ? err->gerror->code : 0; }
    std::string message() const { return err ? err->gerror->message : ""; }
    GQuark domain() const { return err ? err->gerror->domain : 0; }
    int length() const
    {
        int n = 0;
        for (const KelError *e = err; e != nullptr; e = e->next)
            n++;
        return n;
    }
    void clear() { kel_clear_error(&err); }
    // "code message" of the newest error, which is taken off the chain.
    std::string pop()
    {
        KelError *top = err;
        if (top == nullptr)
            return "<no error>";
        std::string s = std::to_string(top->gerror->code) + " " + top->gerror->message;
        err = top->next;
        top->next = nullptr;
        kel_clear_error(&top);
        return s;
    }
};

// Owns a JSON root for the duration of a test.
struct JsonRoot {
    KelJson *json = nullptr;
    JsonRoot() = default;
    explicit JsonRoot(KelJson *j) : json(j) {}
    ~JsonRoot() { kel_json_unref(json); }
    JsonRoot(const JsonRoot &) = delete;
    JsonRoot &operator=(const JsonRoot &) = delete;
    KelJson *get() const { return json; }
    KelJson *operator->() const { return json; }
    operator KelJson *() const { return json; }
};

// Compact dump with sorted keys, or "<dump failed>".
inline std::string dump(KelJson *json, guint32 flags = KEL_JSON_DUMP_SORTED)
{
    char *out = nullptr;
    if (!kel_json_sdump(json, &out, flags))
        return "<dump failed>";
    std::string s(out);
    g_free(out);
    return s;
}

// `result` goes to `ok` when the caller asks for it, else it must be TRUE.
inline void store_or_expect(gboolean result, gboolean *ok)
{
    if (ok)
        *ok = result;
    else
        EXPECT_TRUE(result);
}

// The dump through each sink, `flags` and `indent` as given: the string sink
// into a GString that already holds `prefix`, the stream sink into memory.
// `ok` receives the call's result; without it the call must succeed.
inline std::string sdump_ext(KelJson *json, guint32 flags, gint32 indent = 0, gboolean *ok = nullptr,
                             const std::string &prefix = "")
{
    GString *out = g_string_new(prefix.c_str());
    const gboolean r = kel_json_sdump_ext(json, out, flags, indent);
    store_or_expect(r, ok);
    std::string s(out->str, out->len);
    g_string_free(out, TRUE);
    return s;
}

inline std::string fdump(KelJson *json, guint32 flags, gint32 indent = 0, gboolean *ok = nullptr)
{
    char *buf = nullptr;
    size_t size = 0;
    FILE *fh = open_memstream(&buf, &size);
    const gboolean r = kel_json_fdump(json, fh, flags, indent);
    fclose(fh);
    store_or_expect(r, ok);
    std::string s(buf, size);
    free(buf);
    return s;
}

// Takes a count on `json` (the caller releases it) and returns it.
inline KelJson *held(KelJson *json)
{
    kel_json_ref(json);
    return json;
}

inline std::string pointer_of(const KelJson *json)
{
    char *out = nullptr;
    if (kel_json_ptr(json, &out) < 0)
        return "<no pointer>";
    std::string s(out);
    g_free(out);
    return s;
}

// A document that must parse (a failure is reported, NULL returned).
inline KelJson *parse(const char *text, int flags = 0)
{
    KelJson *json = kel_json_loads(text, flags, nullptr);
    EXPECT_NE(json, nullptr) << text;
    return json;
}

inline KelJson *at(KelJson *array, int index) { return kel_json_array_get_base(array, index, 0, nullptr); }
inline KelJson *member(KelJson *object, const char *key) { return kel_json_obj_get_base(object, key, 0, nullptr); }

// Bytes the C heap has handed out. A leak shows in the plain build too: after
// a warm-up round (pools filled), repeating the same work must not make it grow.
// The sanitizer build's allocator answers 0, where its leak check takes over.
inline size_t heap_in_use()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Runs `fn` on a thread with a 1 MiB stack, far too small for a walk that
// recurses once per level of a deep document.
inline void on_small_stack(std::function<void()> fn)
{
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 1 << 20);
    pthread_t thread;
    auto body = [](void *arg) -> void * { return (*static_cast<std::function<void()> *>(arg))(), nullptr; };
    ASSERT_EQ(pthread_create(&thread, &attr, body, &fn), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
}

// A chain of `depth` containers, each holding the next under "k" (objects) or
// at index 0 (arrays); `leaf` receives the innermost one.
inline KelJson *deep_chain(bool objects, int depth, KelJson **leaf = nullptr)
{
    KelJson *root = objects ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < depth; i++)
        current = objects ? kel_json_obj_put_obj_base(current, "k", nullptr) : kel_json_array_push_array_base(current, nullptr);
    if (leaf)
        *leaf = current;
    return root;
}

}  // namespace kel_test

#define EXPECT_KEL_ERROR(slot, expected_code, expected_message)   \
    do {                                                          \
        ASSERT_TRUE((slot).err != nullptr);                       \
        EXPECT_EQ((slot).code(), (expected_code));                \
        EXPECT_EQ((slot).message(), std::string(expected_message)); \
    } while (0)
