// kel-bench: libkel against jansson, json-c, json-glib, cJSON and RapidJSON
// on the standard corpus, in one binary and one run. Every operation on every
// file runs for every library under the same benchmark body; repetitions are
// interleaved at random and the table reports medians of CPU time, as ratios
// to jansson's figure of the same run and to the fastest peer's.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "alloc_count.h"
#include "libs.h"

#ifndef KEL_BENCH_CORPUS_DIR
#define KEL_BENCH_CORPUS_DIR "../shared/corpus"
#endif

namespace {

using bench::Doc;
using bench::LibOps;

// ---- Corpus ---------------------------------------------------------------

struct CorpusFile {
    const char *name;     // short name used in benchmark names
    const char *file;     // file name inside the corpus directory
    const char *pointer;  // a deep value near the end of the document
    std::string path;
    std::string text;
};

// Each pointer is one of the deepest leaves of its document, taken near the
// end so that array lookups index far in.
std::vector<CorpusFile> corpus = {
    {"canada", "canada.json", "/features/0/geometry/coordinates/479/5275/1", {}, {}},
    {"citm", "citm_catalog.json", "/performances/242/seatCategories/4/areas/5/areaId", {}, {}},
    {"twitter", "twitter.json", "/statuses/97/retweeted_status/user/entities/url/urls/0/indices/1",
     {}, {}},
};

std::string corpus_dir()
{
    const char *env = std::getenv("KEL_BENCH_CORPUS");
    return env && *env ? env : KEL_BENCH_CORPUS_DIR;
}

bool load_corpus()
{
    std::string dir = corpus_dir();
    bool ok = true;
    for (CorpusFile &f : corpus) {
        f.path = dir + "/" + f.file;
        std::ifstream in(f.path, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "kel-bench: cannot read corpus file %s\n", f.path.c_str());
            ok = false;
            continue;
        }
        std::ostringstream buf;
        buf << in.rdbuf();
        f.text = buf.str();
    }
    if (!ok)
        std::fprintf(stderr,
                     "kel-bench: the corpus (canada.json, citm_catalog.json, twitter.json) is "
                     "missing; set KEL_BENCH_CORPUS to the directory that holds it\n");
    return ok;
}

// ---- Libraries ------------------------------------------------------------

const LibOps *const all_libs[] = {&bench::kel_ops,   &bench::jansson_ops, &bench::jsonc_ops,
                                  &bench::jsonglib_ops, &bench::cjson_ops, &bench::rapidjson_ops};
std::vector<const LibOps *> libs;

bool select_libs(const std::string &option)
{
    libs.clear();
    std::vector<std::string> wanted;
    std::stringstream in(option);
    for (std::string name; std::getline(in, name, ',');) wanted.push_back(name);
    for (const LibOps *lib : all_libs)
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), lib->name) != wanted.end())
            libs.push_back(lib);
    if (libs.empty()) {
        std::fprintf(stderr, "kel-bench: --libs=%s selects no library (libkel, jansson, json-c, "
                             "json-glib, cJSON, RapidJSON)\n", option.c_str());
        return false;
    }
    return true;
}

// libkel is linked normally; this only turns a half-built library into a
// clear message instead of a symbol lookup error in the middle of the run.
bool libkel_complete()
{
    static const char *const needed[] = {"kel_json_loads", "kel_json_loadf", "kel_json_unref",
                                         "kel_json_sdump", "kel_json_copy", "kel_json_subset",
                                         "kel_json_ptr_get_base"};
    bool ok = true;
    for (const char *sym : needed)
        if (!dlsym(RTLD_DEFAULT, sym)) {
            std::fprintf(stderr, "kel-bench: libkel does not provide %s yet\n", sym);
            ok = false;
        }
    if (!ok)
        std::fprintf(stderr, "kel-bench: use --libs=jansson,json-c,json-glib,cJSON,RapidJSON to "
                             "measure the peers alone\n");
    return ok;
}

// What the checks found out per library and file: the sizes of its dumps.
struct Prepared {
    std::size_t compact_size = 0;
    std::size_t roundtrip_size = 0;
    std::size_t pretty_size = 0;
};
std::map<std::pair<const LibOps *, const CorpusFile *>, Prepared> prepared;

// Parses every file with every library and checks the results once, so that
// no benchmark measures a failure path.
bool prepare_all()
{
    bool ok = true;
    for (const CorpusFile &f : corpus)
        for (const LibOps *lib : libs) {
            auto fail = [&](const std::string &what) {
                std::fprintf(stderr, "kel-bench: %s on %s: %s\n", lib->name, f.file, what.c_str());
                ok = false;
            };
            Prepared p;
            std::string err;
            Doc doc = lib->parse(f.text.c_str(), f.text.size(), &err);
            if (!doc) {
                fail("parse failed: " + err);
                continue;
            }
            Doc copy = lib->copy(doc);
            if (!copy) fail("copy failed");
            else if (!lib->equal(doc, copy)) fail("the copy does not compare equal");
            if (!lib->lookup(doc, f.pointer)) fail(std::string("pointer not found: ") + f.pointer);
            p.compact_size = lib->dump(doc, false);
            p.roundtrip_size = lib->dump_roundtrip ? lib->dump_roundtrip(doc) : p.compact_size;
            p.pretty_size = lib->dump(doc, true);
            if (!p.compact_size || !p.roundtrip_size || !p.pretty_size) fail("dump failed");
            if (copy) lib->release(copy);
            lib->release(doc);
            void *fh = lib->file_open ? lib->file_open(f.path.c_str()) : nullptr;
            if (!lib->file_open) {
                // nothing to check: the row is left out
            } else if (!fh) {
                fail("cannot open the file");
            } else {
                Doc d = lib->file_parse(fh);
                if (!d) fail("parse from file failed");
                else lib->release(d);
                lib->file_close(fh);
            }
            prepared[{lib, &f}] = p;
        }
    return ok;
}

// ---- Heap figures (child process) ---------------------------------------

struct HeapFigures {
    std::int64_t bytes = 0, blocks = 0, leftover = 0;
};
std::map<std::pair<std::string, std::string>, HeapFigures> heap;  // (file, lib)

// Runs in a fresh child process per file and library, started with
// G_SLICE=always-malloc: GLib's slice allocator would otherwise hand out
// pieces of its own large chunks, which the malloc counters cannot see one
// by one. The figure is the heap growth of the first parse in the process.
// A warm-up parse would leave behind whatever a library keeps for reuse
// (libkel's node pool, allocator caches), which the measured parse would
// then take without allocating; the one-time state a first parse sets up
// (types, hash seeds) is small beside any of the three documents.
int memory_child(const std::string &file)
{
    for (const CorpusFile &f : corpus) {
        if (file != f.name) continue;
        for (const LibOps *lib : libs) {
            bench::heap_count_start();
            Doc doc = lib->parse(f.text.c_str(), f.text.size(), nullptr);
            bench::HeapCount parsed = bench::heap_count_stop();
            if (!doc) return 1;
            bench::heap_count_start();
            lib->release(doc);
            bench::HeapCount released = bench::heap_count_stop();
            std::printf("mem %s %s %" PRId64 " %" PRId64 " %" PRId64 "\n", f.name, lib->name,
                        parsed.bytes, parsed.blocks, parsed.bytes + released.bytes);
        }
    }
    return 0;
}

bool measure_heap_of(const CorpusFile &f, const LibOps *lib)
{
    int fds[2];
    if (pipe(fds) != 0) return false;
    pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        setenv("G_SLICE", "always-malloc", 1);
        std::string file_arg = std::string("--memory-child=") + f.name;
        std::string libs_arg = std::string("--libs=") + lib->name;
        execl("/proc/self/exe", "kel-bench", file_arg.c_str(), libs_arg.c_str(),
              static_cast<char *>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    FILE *in = fdopen(fds[0], "r");
    char file[64], name[64];
    HeapFigures h;
    while (in && std::fscanf(in, "mem %63s %63s %" SCNd64 " %" SCNd64 " %" SCNd64 "\n", file, name,
                             &h.bytes, &h.blocks, &h.leftover) == 5)
        heap[{file, name}] = h;
    if (in) std::fclose(in);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool measure_heap()
{
    bool ok = true;
    for (const CorpusFile &f : corpus)
        for (const LibOps *lib : libs) ok = measure_heap_of(f, lib) && ok;
    return ok;
}

// ---- Benchmarks -----------------------------------------------------------

enum class Op { Parse, ParseFile, Dump, DumpRoundtrip, DumpPretty, Copy, Equal, Lookup };

struct OpInfo {
    Op op;
    const char *name;   // in benchmark names
    const char *label;  // in the table
};

const OpInfo ops[] = {
    {Op::Parse, "parse", "parse (text to DOM + release)"},
    {Op::ParseFile, "parse_file", "parse from file"},
    {Op::Dump, "dump", "dump compact"},
    {Op::DumpRoundtrip, "dump_rt", "dump compact, round-trip reals"},
    {Op::DumpPretty, "dump_pretty", "dump sorted+pretty"},
    {Op::Copy, "copy", "deep copy + release"},
    {Op::Equal, "equal", "equal (DOM vs its copy)"},
    {Op::Lookup, "pointer", "pointer lookup"},
};

// Bytes one iteration stands for: input text for parsing, copying and
// comparing; the library's own output text for dumping.
std::size_t bytes_per_iteration(Op op, const LibOps *lib, const CorpusFile &f)
{
    const Prepared &p = prepared[{lib, &f}];
    switch (op) {
    case Op::Dump: return p.compact_size;
    case Op::DumpRoundtrip: return p.roundtrip_size;
    case Op::DumpPretty: return p.pretty_size;
    case Op::Lookup: return 0;
    default: return f.text.size();
    }
}

// A DOM for the benchmarks that read one, built by every library in the same
// way right before its timed loop: where a DOM lands in the heap changes how
// fast it is walked (a tree built after a run of parse/release cycles is
// scattered over the freed blocks, one built into a fresh heap is not), so
// the heap is first brought to the same state for everyone: freed blocks
// consolidated, then a fixed number of parse/release cycles of the same file.
class FreshDom {
public:
    FreshDom(const LibOps *lib, const CorpusFile &f, bool with_copy) : lib_(lib)
    {
        malloc_trim(0);
        for (int i = 0; i < kWarmupCycles; i++) lib->release(parse(f));
        doc_ = parse(f);
        if (with_copy) copy_ = lib->copy(doc_);
    }
    ~FreshDom()
    {
        if (copy_) lib_->release(copy_);
        lib_->release(doc_);
    }
    FreshDom(const FreshDom &) = delete;
    FreshDom &operator=(const FreshDom &) = delete;

    Doc doc() const { return doc_; }
    Doc copy() const { return copy_; }

private:
    static constexpr int kWarmupCycles = 2;
    // Every library parsed every file during the checks, so this succeeds.
    Doc parse(const CorpusFile &f) { return lib_->parse(f.text.c_str(), f.text.size(), nullptr); }

    const LibOps *lib_;
    Doc doc_ = nullptr;
    Doc copy_ = nullptr;
};

void run(benchmark::State &state, Op op, const LibOps *lib, const CorpusFile *f)
{
    const char *text = f->text.c_str();
    std::size_t len = f->text.size();
    bool reads_dom = op != Op::Parse && op != Op::ParseFile;
    std::unique_ptr<FreshDom> dom;
    if (reads_dom) dom = std::make_unique<FreshDom>(lib, *f, op == Op::Equal);
    switch (op) {
    case Op::Parse:
        for (auto _ : state) {
            Doc d = lib->parse(text, len, nullptr);
            if (!d) {
                state.SkipWithError("parse failed");
                break;
            }
            lib->release(d);
        }
        break;
    case Op::ParseFile: {
        void *fh = lib->file_open(f->path.c_str());
        for (auto _ : state) {
            Doc d = lib->file_parse(fh);
            if (!d) {
                state.SkipWithError("parse from file failed");
                break;
            }
            lib->release(d);
        }
        lib->file_close(fh);
        break;
    }
    case Op::Dump:
    case Op::DumpPretty:
        for (auto _ : state) benchmark::DoNotOptimize(lib->dump(dom->doc(), op == Op::DumpPretty));
        break;
    case Op::DumpRoundtrip:
        for (auto _ : state) benchmark::DoNotOptimize(lib->dump_roundtrip(dom->doc()));
        break;
    case Op::Copy:
        for (auto _ : state) lib->release(lib->copy(dom->doc()));
        break;
    case Op::Equal:
        for (auto _ : state) benchmark::DoNotOptimize(lib->equal(dom->doc(), dom->copy()));
        break;
    case Op::Lookup:
        for (auto _ : state) benchmark::DoNotOptimize(lib->lookup(dom->doc(), f->pointer));
        break;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(bytes_per_iteration(op, lib, *f)));
}

std::string bench_name(const OpInfo &op, const CorpusFile &f, const LibOps *lib)
{
    return std::string(op.name) + "/" + f.name + "/" + lib->name;
}

void register_all()
{
    for (const OpInfo &op : ops)
        for (const CorpusFile &f : corpus)
            for (const LibOps *lib : libs) {
                if (op.op == Op::ParseFile && !lib->file_open) continue;
                if (op.op == Op::DumpRoundtrip && !lib->dump_roundtrip) continue;
                auto *b = benchmark::RegisterBenchmark(bench_name(op, f, lib).c_str(), run, op.op,
                                                       lib, &f);
                b->Unit(op.op == Op::Lookup ? benchmark::kNanosecond : benchmark::kMillisecond);
            }
}

// ---- Results --------------------------------------------------------------

// Passes the median and the coefficient of variation to the console (every
// repetition when there are no aggregates) and keeps the CPU time per
// iteration of every repetition.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    explicit CollectingReporter(OutputOptions options) : ConsoleReporter(options) {}

    std::map<std::string, std::vector<double>> cpu_seconds;
    std::map<std::string, std::string> errors;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        std::vector<Run> shown;
        bool has_aggregates = false;
        for (const Run &r : runs) {
            if (r.run_type == Run::RT_Aggregate) {
                has_aggregates = true;
                if (r.aggregate_name == "median" || r.aggregate_name == "cv") shown.push_back(r);
                continue;
            }
            const std::string &name = r.run_name.function_name;
            if (r.error_occurred) errors[name] = r.error_message;
            else if (r.iterations > 0)
                cpu_seconds[name].push_back(r.cpu_accumulated_time /
                                            static_cast<double>(r.iterations));
        }
        ConsoleReporter::ReportRuns(has_aggregates ? shown : runs);
    }

    // Median per-iteration CPU time, or a negative value when not measured.
    double median(const std::string &name) const
    {
        auto it = cpu_seconds.find(name);
        if (it == cpu_seconds.end() || it->second.empty()) return -1;
        std::vector<double> v = it->second;
        std::sort(v.begin(), v.end());
        std::size_t n = v.size();
        return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    }

    // Coefficient of variation of the repetitions, or a negative value.
    double cv(const std::string &name) const
    {
        auto it = cpu_seconds.find(name);
        if (it == cpu_seconds.end() || it->second.size() < 2) return -1;
        double sum = 0, sq = 0, n = static_cast<double>(it->second.size());
        for (double x : it->second) sum += x;
        double mean = sum / n;
        for (double x : it->second) sq += (x - mean) * (x - mean);
        return mean > 0 ? std::sqrt(sq / (n - 1)) / mean : -1;
    }
};

std::string fmt(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *format, ...)
{
    char buf[128];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    return buf;
}

std::string human(double v, const char *unit)
{
    if (v >= 1e6) return fmt("%.1f M%s", v / 1e6, unit);
    if (v >= 1e3) return fmt("%.1f k%s", v / 1e3, unit);
    return fmt("%.0f %s", v, unit);
}

std::string ratio(double value, double jansson)
{
    return jansson > 0 && value >= 0 ? fmt(" (%.2f)", value / jansson) : " (n/a)";
}

void print_row(const std::string &file, const std::string &what,
               const std::vector<std::string> &cells)
{
    std::printf("| %-8s | %-30s |", file.c_str(), what.c_str());
    for (const std::string &c : cells) std::printf(" %-20s |", c.c_str());
    std::printf("\n");
}

// One row of figures: a value per library (negative: none), lower is better.
struct Row {
    std::string file, label;
    Op op;
    bool heap = false;
    std::vector<double> values;  // in the order of libs
};

double value_of(const Row &row, const LibOps *lib)
{
    for (std::size_t i = 0; i < libs.size(); i++)
        if (libs[i] == lib) return row.values[i];
    return -1;
}

// The benchmark whose median is a library's figure in a row: a peer whose
// compact dump already round-trips doubles has the same figure in both
// compact rows.
std::string figure_name(const OpInfo &op, const CorpusFile &f, const LibOps *lib)
{
    if (op.op == Op::DumpRoundtrip && !lib->dump_roundtrip) return bench_name(OpInfo{Op::Dump, "dump", ""}, f, lib);
    return bench_name(op, f, lib);
}

// libkel's figure over the fastest (smallest) peer's, and that peer.
std::string against_best_peer(const Row &row)
{
    double kel = value_of(row, &bench::kel_ops);
    const LibOps *best = nullptr;
    double best_value = -1;
    for (std::size_t i = 0; i < libs.size(); i++)
        if (libs[i] != &bench::kel_ops && row.values[i] > 0 &&
            (!best || row.values[i] < best_value)) {
            best = libs[i];
            best_value = row.values[i];
        }
    if (kel < 0 || !best) return "-";
    return fmt("%.2f %s", kel / best_value, best->name);
}

std::vector<Row> collect_rows(const CollectingReporter &rep, int *failures)
{
    std::vector<Row> rows;
    for (const CorpusFile &f : corpus) {
        for (const OpInfo &op : ops) {
            Row row{f.name, op.label, op.op, false, {}};
            for (const LibOps *lib : libs) {
                std::string name = figure_name(op, f, lib);
                if (rep.errors.count(name)) (*failures)++;
                row.values.push_back(rep.errors.count(name) ? -1 : rep.median(name));
            }
            rows.push_back(row);
        }
        Row bytes{f.name, "DOM heap bytes", Op::Parse, true, {}};
        Row blocks{f.name, "DOM heap blocks", Op::Parse, true, {}};
        for (const LibOps *lib : libs) {
            auto it = heap.find({f.name, lib->name});
            bytes.values.push_back(it == heap.end() ? -1 : static_cast<double>(it->second.bytes));
            blocks.values.push_back(it == heap.end() ? -1 : static_cast<double>(it->second.blocks));
        }
        rows.push_back(bytes);
        rows.push_back(blocks);
    }
    return rows;
}

std::string cell(const Row &row, std::size_t i, const CorpusFile &f)
{
    double v = row.values[i], base = value_of(row, &bench::jansson_ops);
    if (v < 0) return "-";
    if (row.heap)
        return human(v, row.label == std::string("DOM heap bytes") ? "B" : "") + ratio(v, base);
    if (row.op == Op::Lookup) return fmt("%.0f ns", v * 1e9) + ratio(v, base);
    Op size_op = row.op == Op::DumpRoundtrip && !libs[i]->dump_roundtrip ? Op::Dump : row.op;
    double mb = static_cast<double>(bytes_per_iteration(size_op, libs[i], f)) / 1e6;
    return fmt("%.1f MB/s", mb / v) + ratio(v, base);
}

const CorpusFile &corpus_file(const std::string &name)
{
    for (const CorpusFile &f : corpus)
        if (name == f.name) return f;
    return corpus.front();
}

// libkel's standing against the figures it aims at, one line per target.
void print_targets(const std::vector<Row> &rows)
{
    bool have_all = std::find(libs.begin(), libs.end(), &bench::kel_ops) != libs.end() &&
                    libs.size() == std::size(all_libs);
    if (!have_all) return;
    std::printf("\nlibkel against its targets (ratios of time or size, per file "
                "canada/citm/twitter; [ok] when met):\n");
    auto line = [&](const char *what, Op op, bool heap, const char *label, const LibOps *peer,
                    double limit, bool invert = false) {
        std::string figures;
        bool met = true;
        for (const Row &r : rows) {
            if (r.op != op || r.heap != heap || (label && r.label != std::string(label))) continue;
            double kel = value_of(r, &bench::kel_ops), other = value_of(r, peer);
            double q = kel > 0 && other > 0 ? (invert ? other / kel : kel / other) : -1;
            met = met && q >= 0 && (invert ? q >= limit : q <= limit);
            figures += fmt("%s%.2f", figures.empty() ? "" : "/", q);
        }
        std::printf("  %-52s %-16s %s\n", what, figures.c_str(), met ? "[ok]" : "[not met]");
    };
    line("parse time / cJSON's (at most 1.00)", Op::Parse, false, nullptr, &bench::cjson_ops, 1.0);
    line("parse time / RapidJSON's (at most 2.00)", Op::Parse, false, nullptr,
         &bench::rapidjson_ops, 2.0);
    line("dump compact time / RapidJSON's (at most 1.00)", Op::Dump, false, nullptr,
         &bench::rapidjson_ops, 1.0);
    line("dump round-trip time / RapidJSON's (at most 1.00)", Op::DumpRoundtrip, false, nullptr,
         &bench::rapidjson_ops, 1.0);
    line("DOM heap bytes / jansson's (at most 0.80)", Op::Parse, true, "DOM heap bytes",
         &bench::jansson_ops, 0.8);
    // Rate from a file over rate from memory: the two parse rows of libkel.
    std::string figures;
    bool met = true;
    for (const Row &r : rows)
        if (r.op == Op::ParseFile && !r.heap) {
            const Row *mem = nullptr;
            for (const Row &m : rows)
                if (m.file == r.file && m.op == Op::Parse && !m.heap) mem = &m;
            double q = value_of(*mem, &bench::kel_ops) / value_of(r, &bench::kel_ops);
            met = met && q >= 0.7;
            figures += fmt("%s%.2f", figures.empty() ? "" : "/", q);
        }
    std::printf("  %-52s %-16s %s\n", "loadf rate / loads rate (at least 0.70)", figures.c_str(),
                met ? "[ok]" : "[not met]");
    std::string slower;
    for (const Row &r : rows) {
        if (r.label == std::string("DOM heap blocks")) continue;
        double kel = value_of(r, &bench::kel_ops), jansson = value_of(r, &bench::jansson_ops);
        if (kel > 0 && jansson > 0 && kel > jansson)
            slower += fmt("%s%s %s %.2f", slower.empty() ? "" : "; ", r.file.c_str(),
                          r.label.c_str(), kel / jansson);
    }
    std::printf("  rows where libkel is behind jansson: %s\n",
                slower.empty() ? "none [ok]" : (slower + " [not met]").c_str());
}

int print_table(const CollectingReporter &rep, int repetitions)
{
    int failures = 0;
    std::vector<Row> rows = collect_rows(rep, &failures);
    bool with_kel = std::find(libs.begin(), libs.end(), &bench::kel_ops) != libs.end();
    std::printf("\n## kel-bench results\n\n");
    std::printf("Corpus: %s. Median of %d repetition(s), CPU time, repetitions interleaved.\n"
                "Each cell: MB/s (or ns, or size) and, in parentheses, the ratio to jansson's "
                "figure:\n  time / jansson's time for the speed rows, size / jansson's size for "
                "the memory rows.\n  Lower ratios are better; 1.00 is jansson. The last column "
                "is libkel's figure\n  over the best peer's in the same terms, and that peer.\n\n",
                corpus_dir().c_str(), repetitions);
    std::vector<std::string> head;
    for (const LibOps *lib : libs) head.push_back(lib->name);
    if (with_kel) head.push_back("libkel / best peer");
    print_row("file", "operation", head);
    std::printf("|----------|--------------------------------|");
    for (std::size_t i = 0; i < head.size(); i++) std::printf("----------------------|");
    std::printf("\n");
    for (const Row &r : rows) {
        const CorpusFile &f = corpus_file(r.file);
        std::vector<std::string> cells;
        for (std::size_t i = 0; i < libs.size(); i++) cells.push_back(cell(r, i, f));
        if (std::all_of(cells.begin(), cells.end(), [](auto &c) { return c == "-"; })) continue;
        if (with_kel) cells.push_back(against_best_peer(r));
        print_row(r.file, r.label, cells);
    }
    if (with_kel) print_targets(rows);

    std::printf("\nOutput sizes (bytes; the dump rows are MB/s of each library's own output):\n");
    for (const CorpusFile &f : corpus) {
        std::printf("  %-8s input %zu;", f.name, f.text.size());
        for (const LibOps *lib : libs) {
            const Prepared &p = prepared[{lib, &f}];
            std::printf(" %s compact %zu", lib->name, p.compact_size);
            if (lib->dump_roundtrip) std::printf(" round-trip %zu", p.roundtrip_size);
            std::printf(" pretty %zu;", p.pretty_size);
        }
        std::printf("\n");
    }
    std::vector<std::pair<double, std::string>> noisy;
    std::size_t measured = 0;
    for (const auto &[name, samples] : rep.cpu_seconds) {
        double c = rep.cv(name);
        if (c < 0) continue;
        measured++;
        if (c > 0.10) noisy.emplace_back(c, name);
    }
    if (measured) {
        std::sort(noisy.rbegin(), noisy.rend());
        std::printf("\nNoise: %zu of %zu measurements vary by more than 10%% between repetitions "
                    "(coefficient of variation)", noisy.size(), measured);
        for (std::size_t i = 0; i < noisy.size() && i < 5; i++)
            std::printf("%s %s %.0f%%", i ? "," : "; worst:", noisy[i].second.c_str(),
                        noisy[i].first * 100);
        std::printf(".\n");
    }
    bool leak = false;
    for (auto &[key, h] : heap)
        if (h.leftover > 0) {
            if (!leak) std::printf("\nHeap still held after releasing a parsed DOM (kept for reuse or lost):\n");
            leak = true;
            std::printf("  %s %s: %" PRId64 " bytes\n", key.first.c_str(), key.second.c_str(),
                        h.leftover);
        }
    std::printf("\nNotes:\n");
    for (const LibOps *lib : libs) std::printf("  %-9s %s\n", lib->name, lib->notes);
    return failures;
}

// Defaults that suit a shared two-core machine: several interleaved
// repetitions, short runs. Flags given on the command line come later in the
// argument list and therefore win.
const char *const default_flags[] = {
    "--benchmark_repetitions=5",
    "--benchmark_enable_random_interleaving=true",
    "--benchmark_min_time=0.1",
};

int repetitions_of(const std::vector<char *> &args)
{
    int reps = 1;
    for (char *a : args)
        if (std::strncmp(a, "--benchmark_repetitions=", 24) == 0) reps = std::atoi(a + 24);
    return reps;
}

}  // namespace

int main(int argc, char **argv)
{
    const char *child = nullptr;
    std::string libs_spec;
    std::vector<char *> args = {argv[0]};
    for (const char *flag : default_flags) args.push_back(const_cast<char *>(flag));
    for (int i = 1; i < argc; i++) {
        if (std::strncmp(argv[i], "--memory-child=", 15) == 0) child = argv[i] + 15;
        else if (std::strncmp(argv[i], "--libs=", 7) == 0) libs_spec = argv[i] + 7;
        else args.push_back(argv[i]);
    }
    if (!select_libs(libs_spec) || !load_corpus()) return 1;
    for (const LibOps *lib : libs)
        if (lib == &bench::kel_ops && !libkel_complete()) return 1;
    if (child) return memory_child(child);

    int repetitions = repetitions_of(args);
    int bench_argc = static_cast<int>(args.size());
    benchmark::Initialize(&bench_argc, args.data());
    if (benchmark::ReportUnrecognizedArguments(bench_argc, args.data())) return 1;

    std::printf("kel-bench: checking every library on every corpus file...\n");
    if (!prepare_all()) return 1;
    bool heap_ok = measure_heap();
    if (!heap_ok) std::fprintf(stderr, "kel-bench: the heap measurement failed\n");

    register_all();
    CollectingReporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_Defaults
                                                      : benchmark::ConsoleReporter::OO_None);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    int failures = print_table(reporter, repetitions);
    return failures || !heap_ok ? 1 : 0;
}
