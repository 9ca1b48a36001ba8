#include "document.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kj {

namespace {

constexpr int kMaxIndent = 32;

std::string errno_text(int code) { return g_strerror(code); }

struct GStringFree {
    void operator()(GString *s) const { g_string_free(s, TRUE); }
};
using GStringPtr = std::unique_ptr<GString, GStringFree>;

struct GFree {
    void operator()(gchar *s) const { g_free(s); }
};
using GCharPtr = std::unique_ptr<gchar, GFree>;

// A byte order mark is no JSON whitespace, and the parser would only call
// it an unexpected character. Input that starts with 0xEF is invalid
// whatever follows, so the first three bytes are taken off the stream to
// tell the two apart; when they are no mark, the parser reads just them,
// which is enough for it to report the same first error as on the stream.
JsonPtr load_stream(FILE *fh, int load_flags, KelError **err)
{
    const int first = std::getc(fh);
    if (first != 0xEF) {
        if (first != EOF)
            std::ungetc(first, fh);
        return JsonPtr(kel_json_loadf(fh, load_flags, err));
    }
    std::string head(1, '\xEF');
    for (int i = 0, c; i < 2 && (c = std::getc(fh)) != EOF; i++)
        head += static_cast<char>(c);
    if (head != "\xEF\xBB\xBF")
        return JsonPtr(kel_json_loads(head.c_str(), load_flags, err));
    if (err != nullptr) {
        kel_set_error(err, kel_json_error_domain(), KEL_JSON_PARSE_ERROR,
                      "UTF-8 byte order mark is not allowed at the start of JSON text");
        auto *pos = reinterpret_cast<KelJsonErrorDataPosition *>(
            kel_error_data_new(*err, kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION,
                               sizeof(KelJsonErrorDataPosition), nullptr));
        pos->line = 1;
        pos->column = 1;    // the mark is the first character
        pos->position = 3;  // and its three bytes have been read
    }
    return nullptr;
}

}  // namespace

std::string display_name(const std::string &path)
{
    return path == "-" ? "<stdin>" : path;
}

// ---- Input ----------------------------------------------------------------

JsonPtr load_document(const std::string &path, int load_flags, KelError **err)
{
    FILE *fh = stdin;
    if (path != "-") {
        fh = std::fopen(path.c_str(), "rb");
        if (fh == nullptr) {
            push_io_error(err, "cannot open: " + errno_text(errno));
            return nullptr;
        }
        // fopen() succeeds on a directory and only the first read fails;
        // say what is wrong instead of reporting an empty document.
        struct stat st;
        if (fstat(fileno(fh), &st) == 0 && S_ISDIR(st.st_mode)) {
            std::fclose(fh);
            push_io_error(err, "cannot read: " + errno_text(EISDIR));
            return nullptr;
        }
    }

    errno = 0;
    JsonPtr doc = load_stream(fh, load_flags, err);
    const int read_errno = errno;
    if (std::ferror(fh)) {
        // The parser saw a read failure as the end of the input; the
        // real cause goes on top of whatever it reported.
        doc.reset();
        push_io_error(err, "read error: " + errno_text(read_errno ? read_errno : EIO));
    }
    if (fh != stdin)
        std::fclose(fh);
    return doc;
}

JsonPtr load_text(const std::string &text, int load_flags, KelError **err)
{
    return JsonPtr(kel_json_loads(text.c_str(), load_flags, err));
}

const std::vector<OptionSpec> &input_option_specs()
{
    static const std::vector<OptionSpec> options = {
        {"reject-duplicates", 0, nullptr, "treat a member name repeated in one object as an error"},
        {"keep-refs", 0, nullptr, "read {\"$ref\": ...} objects as plain objects, not references"},
        {"verbose", 'v', nullptr, "report every error of a failed parse, not only its cause"},
    };
    return options;
}

int load_flags(const Args &args)
{
    return (args.has("reject-duplicates") ? KEL_JSON_LOAD_REJECT_DUPLICATES : 0) |
           (args.has("keep-refs") ? KEL_JSON_LOAD_KEEP_REFS : 0);
}

// ---- Output options ---------------------------------------------------------

const std::vector<OptionSpec> &output_option_specs()
{
    static const std::vector<OptionSpec> options = {
        {"output", 'o', "FILE", "write to FILE, replaced atomically, instead of standard output"},
        {"compact", 0, nullptr, "write everything on one line without blanks"},
        {"sort", 0, nullptr, "write object members sorted by name"},
        {"indent", 0, "N", "indent each nesting level by N blanks (0 to 32, default 2)"},
        {"u128-str", 0, nullptr, "write integers beyond 64 bits as quoted decimal strings"},
        {"fixed", 0, nullptr, "write doubles as \"%f\" (six decimals) instead of exactly"},
    };
    return options;
}

std::optional<std::string> read_output_options(const Args &args, OutputOptions &out)
{
    // Doubles are written in the shortest form that reads back to the same
    // value by default: a formatter must never change a number, and "%f"
    // loses everything past the sixth decimal.
    out.dump_flags = args.has("fixed") ? 0 : KEL_JSON_DUMP_REAL_ROUNDTRIP;
    if (!args.has("compact"))
        out.dump_flags |= KEL_JSON_DUMP_PRETTY;
    if (args.has("sort"))
        out.dump_flags |= KEL_JSON_DUMP_SORTED;
    if (args.has("u128-str"))
        out.dump_flags |= KEL_JSON_DUMP_U128_STR;

    if (auto text = args.value("indent")) {
        if (args.has("compact"))
            return std::string("--indent and --compact exclude each other");
        KelError *err = nullptr;
        gint64 n = kel_strtoll(text->c_str(), 10, &err);
        bool bad = err != nullptr || n < 0 || n > kMaxIndent;
        kel_clear_error(&err);
        if (bad)
            return "invalid --indent value '" + *text + "': expected a number from 0 to " +
                   std::to_string(kMaxIndent);
        out.indent_step = static_cast<int>(n);
    }
    if (auto path = args.value("output")) {
        if (path->empty() || *path == "-")
            return std::string("option '-o' needs a file name");
        out.path = *path;
    }
    return std::nullopt;
}

// ---- Output ---------------------------------------------------------------

namespace {

// The serializer indents by two blanks per level. Another step is obtained
// by rewriting the leading blanks of each line: string values never hold a
// raw line feed (the serializer escapes it), so every line of pretty output
// starts with exactly 2 * level blanks of indentation.
std::string reindent(std::string_view text, int step)
{
    std::string out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        size_t blanks = 0;
        while (i + blanks < text.size() && text[i + blanks] == ' ')
            ++blanks;
        out.append(blanks / 2 * static_cast<size_t>(step), ' ');
        i += blanks;
        size_t nl = text.find('\n', i);
        size_t end = nl == std::string_view::npos ? text.size() : nl + 1;
        out.append(text.substr(i, end - i));
        i = end;
    }
    return out;
}

bool write_all(int fd, std::string_view data)
{
    while (!data.empty()) {
        ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

// The mode a replaced file keeps, or what a new file would get.
mode_t target_mode(const std::string &target)
{
    struct stat st;
    if (::stat(target.c_str(), &st) == 0)
        return st.st_mode & 07777;
    mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

bool write_file_atomically(const std::string &path, std::string_view data, KelError **err)
{
    // Writing through a symbolic link replaces the file it names, not the link.
    std::string target = path;
    struct stat lst;
    if (::lstat(path.c_str(), &lst) == 0 && S_ISLNK(lst.st_mode)) {
        if (char *real = ::realpath(path.c_str(), nullptr)) {
            target = real;
            std::free(real);
        }
    }
    GCharPtr dir(g_path_get_dirname(target.c_str()));
    GCharPtr base(g_path_get_basename(target.c_str()));
    std::string temp = std::string(dir.get()) + "/." + base.get() + ".XXXXXX";

    int fd = ::mkstemp(temp.data());
    if (fd < 0) {
        push_io_error(err, "cannot write " + path + ": cannot create a temporary file in " +
                               dir.get() + ": " + errno_text(errno));
        return false;
    }
    bool ok = ::fchmod(fd, target_mode(target)) == 0 && write_all(fd, data) && ::fsync(fd) == 0;
    int saved = errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        saved = errno;
    }
    if (ok && ::rename(temp.c_str(), target.c_str()) != 0) {
        ok = false;
        saved = errno;
    }
    if (!ok) {
        ::unlink(temp.c_str());
        push_io_error(err, "cannot write " + path + ": " + errno_text(saved));
    }
    return ok;
}

bool write_stdout(std::string_view data, KelError **err)
{
    errno = 0;
    std::fwrite(data.data(), 1, data.size(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        push_io_error(err, "cannot write to standard output: " + errno_text(errno ? errno : EIO));
        return false;
    }
    return true;
}

}  // namespace

bool write_document(KelJson *value, const OutputOptions &options, KelError **err)
{
    GStringPtr text(g_string_new(nullptr));
    if (!kel_json_sdump_ext(value, text.get(), options.dump_flags, 0)) {
        kel_set_error(err, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                      "the serializer cannot write this value (text that is not UTF-8, or a "
                      "double that is not finite)");
        return false;
    }
    std::string out;
    std::string_view dumped(text->str, text->len);
    if ((options.dump_flags & KEL_JSON_DUMP_PRETTY) && options.indent_step != 2)
        out = reindent(dumped, options.indent_step);
    else
        out.assign(dumped);
    out += '\n';

    if (options.path.empty())
        return write_stdout(out, err);
    return write_file_atomically(options.path, out, err);
}

int print_document(KelJson *value, const Args &args)
{
    OutputOptions options;
    read_output_options(args, options);
    ErrorChain err;
    if (!write_document(value, options, err.slot())) {
        print_errors(kProgram, err.head());
        return kExitFailed;
    }
    return kExitOk;
}

}  // namespace kj
