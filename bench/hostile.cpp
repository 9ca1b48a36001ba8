// kel-bench-hostile: each attack input against a benign twin of the same
// size, timed in one run, so that a regression shows as a ratio.
//
//   build-bench/kel-bench-hostile [repetitions]
//
// Every case runs in a child process of its own, so its peak resident size
// is its own and not what an earlier case left behind. Times are the best
// of the repetitions.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <glib.h>

#include "kel.h"

namespace {

int repetitions = 5;

// ---- Inputs -------------------------------------------------------------

// g_str_hash is h = h * 33 + c: the two-byte blocks "aT" and "b3" add the
// same amount (97 * 33 + 84 == 98 * 33 + 51), so every string made of
// `blocks` of them has one hash, 2^blocks strings in all.
std::vector<std::string> colliding_names(int blocks)
{
    std::vector<std::string> names;
    for (guint bits = 0; bits < (1u << blocks); bits++) {
        std::string name;
        for (int b = 0; b < blocks; b++)
            name += (bits >> b) & 1 ? "b3" : "aT";
        names.push_back(name);
    }
    return names;
}

std::vector<std::string> random_names(std::size_t count, std::size_t length)
{
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::mt19937 rng(42);
    std::set<std::string> seen;
    std::vector<std::string> names;
    while (names.size() < count) {
        std::string name(length, ' ');
        for (char &c : name)
            c = alphabet[rng() % (sizeof alphabet - 1)];
        if (seen.insert(name).second)
            names.push_back(name);
    }
    return names;
}

std::string object_of(const std::vector<std::string> &names)
{
    std::string text = "{";
    for (const std::string &name : names)
        text.append(text.size() > 1 ? ",\"" : "\"").append(name).append("\":0");
    return text + "}";
}

// A reference to the member `prefix` followed by the number `n`.
std::string ref_to(char prefix, int n)
{
    std::string text = "{\"$ref\":\"#/";
    text += prefix;
    return text.append(std::to_string(n)).append("\"}");
}

// Ten arrays, each of ten references. The bomb points each array at the one
// before (about 10^9 values once expanded); the twin points all at the first.
std::string reference_arrays(bool bomb)
{
    std::string text = "{\"a0\":[1,2,3,4,5,6,7,8,9,10]";
    for (int level = 1; level < 10; level++) {
        text += ",\"a" + std::to_string(level) + "\":[";
        for (int i = 0; i < 10; i++)
            text.append(i ? "," : "").append(ref_to('a', bomb ? level - 1 : 0));
        text += "]";
    }
    return text + "}";
}

// A million references to one small target; the twin spreads them over ten
// targets of the same size.
std::string many_references(bool one_target)
{
    std::string text = "{";
    for (int t = 0; t < 10; t++)
        text += "\"t" + std::to_string(t) + "\":{\"x\":[" + std::to_string(t) + ",2,3]},";
    text += "\"r\":[";
    for (int i = 0; i < 1000000; i++)
        text.append(i ? "," : "").append(ref_to('t', one_target ? 0 : i % 10));
    return text + "]}";
}

// ---- Measuring ----------------------------------------------------------

double seconds_of(const std::function<void()> &once)
{
    double best = 1e30;
    for (int r = 0; r < repetitions; r++) {
        auto start = std::chrono::steady_clock::now();
        once();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

long peak_kib()
{
    FILE *f = std::fopen("/proc/self/status", "r");
    char line[256];
    long kib = -1;
    while (f != nullptr && std::fgets(line, sizeof line, f) != nullptr)
        if (std::strncmp(line, "VmHWM:", 6) == 0)
            kib = std::atol(line + 6);
    if (f != nullptr)
        std::fclose(f);
    return kib;
}

KelJson *parse(const std::string &text)
{
    KelError *error = nullptr;
    KelJson *json = kel_json_loads(text.c_str(), 0, &error);
    if (json == nullptr) {
        std::fprintf(stderr, "parse failed: %s\n", error->gerror->message);
        std::exit(2);
    }
    return json;
}

double time_parse(const std::string &text)
{
    return seconds_of([&] { kel_json_unref(parse(text)); });
}

// Times expansion alone, on a fresh parse each time; `outcome` gets the
// error message, or "expanded".
double time_expand(const std::string &text, std::string *outcome)
{
    double best = 1e30;
    for (int r = 0; r < repetitions; r++) {
        KelJson *doc = parse(text);
        KelError *error = nullptr;
        auto start = std::chrono::steady_clock::now();
        const bool ok = kel_json_jref_expand(doc, &error);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        *outcome = ok ? "expanded" : error->gerror->message;
        kel_error_free(error);
        kel_json_unref(doc);
    }
    return best;
}

// A GHashTable keyed by g_str_hash, as a control: proves the names collide.
double time_plain_table(const std::vector<std::string> &names)
{
    return seconds_of([&] {
        GHashTable *table = g_hash_table_new(g_str_hash, g_str_equal);
        for (const std::string &name : names)
            g_hash_table_insert(table, const_cast<char *>(name.c_str()), nullptr);
        g_hash_table_destroy(table);
    });
}

struct Figures {
    double attack, twin;
    std::string note;
};

struct Case {
    const char *name;
    const char *bound;  // what the row must stay within
    std::function<Figures()> run;
};

const std::vector<Case> &cases()
{
    static const std::vector<Case> all = {
        {"parse: 2^16 names, one g_str_hash", "ratio <= 2", [] {
             std::vector<std::string> bad = colliding_names(16);
             const std::string attack = object_of(bad);
             const std::string twin = object_of(random_names(bad.size(), bad[0].size()));
             if (attack.size() != twin.size() || g_str_hash(bad[0].c_str()) != g_str_hash(bad.back().c_str()))
                 std::exit(3);
             return Figures{time_parse(attack), time_parse(twin), ""};
         }},
        {"control: 2^13 of them in g_str_hash table", "(shows they collide)", [] {
             std::vector<std::string> bad = colliding_names(13);
             return Figures{time_plain_table(bad), time_plain_table(random_names(bad.size(), bad[0].size())), ""};
         }},
        {"subset run: [1 x 2^15, 2] in [1 x 2^16]", "ratio <= 2", [] {
             // The twin starts with the 2: every offset fails at once.
             auto search = [](bool attack) {
                 KelJson *a = kel_json_array_new_base(0, FALSE), *b = kel_json_array_new_base(0, FALSE);
                 for (int i = 0; i <= (1 << 15); i++)
                     kel_json_array_push_base(a, kel_json_i64_new_base(attack == (i < (1 << 15)) ? 1 : 2), nullptr);
                 for (int i = 0; i < (1 << 16); i++)
                     kel_json_array_push_base(b, kel_json_i64_new_base(1), nullptr);
                 const double t = seconds_of([&] { kel_json_subset(a, b, KEL_JSON_SUBSET_ARRAY_RUN); });
                 kel_json_unref(a);
                 kel_json_unref(b);
                 return t;
             };
             return Figures{search(true), search(false), ""};
         }},
        {"expand: reference bomb, 1.7 KB", "< 1 s, < 100 MB", [] {
             std::string attack_outcome, twin_outcome;
             const double attack = time_expand(reference_arrays(true), &attack_outcome);
             const double twin = time_expand(reference_arrays(false), &twin_outcome);
             return Figures{attack, twin, "attack: " + attack_outcome + "; twin: " + twin_outcome};
         }},
        {"expand: 10^6 references to one target", "< 10 s", [] {
             std::string attack_outcome, twin_outcome;
             const double attack = time_expand(many_references(true), &attack_outcome);
             const double twin = time_expand(many_references(false), &twin_outcome);
             return Figures{attack, twin, attack_outcome + "; " + twin_outcome};
         }},
    };
    return all;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc > 1)
        repetitions = std::max(1, std::atoi(argv[1]));
    std::printf("%-42s %-20s %10s %10s %7s %8s\n", "case", "bound", "attack s", "twin s", "ratio", "peak MB");
    int failures = 0;
    for (const Case &c : cases()) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            const Figures f = c.run();
            std::printf("%-42s %-20s %10.6f %10.6f %7.2f %8.1f  %s\n", c.name, c.bound, f.attack, f.twin,
                        f.attack / f.twin, peak_kib() / 1024.0, f.note.c_str());
            std::fflush(stdout);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            failures++;
            std::printf("%-42s failed\n", c.name);
        }
    }
    return failures != 0;
}
