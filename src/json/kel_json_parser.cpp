// The JSON parser: turns the lexer's tokens into a document tree, and the two
// load functions that run it over a string or a stream.
//
// The grammar is the usual recursive one, but the parser keeps the open
// arrays and objects on a heap stack of its own instead of recursing, so no
// input can exhaust the thread's stack. Messages, positions and error chains
// are exactly those of the recursive form; only the depth is limited
// (KEL_JSON_MAX_DEPTH open containers).
#include "kel_json_lexer.h"

#include <cstdio>
#include <cstring>

namespace kel {

namespace {

// Strings handed to kel_json_loads are limited by the string source's int32
// read index. Longer inputs are refused before any parsing (the cost is one
// strnlen pass), which keeps the index from overflowing anywhere later.
constexpr gsize kMaxStringInput = G_MAXINT32;

void report(const KelJsonLexer *lex, KelError **error, const char *format, ...) noexcept
    G_GNUC_PRINTF(3, 4);

void report(const KelJsonLexer *lex, KelError **error, const char *format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    lex_vfail(lex, error, format, args);
    va_end(args);
}

struct OpenContainer {
    KelJson *json;  // the array or object being filled; it has no parent yet
    char *key;      // object member name waiting for its value, or NULL
};

// The containers open at the read position, innermost last. A container is
// put into its parent only once it is complete (the reference rule judges a
// finished object on its own), so after a failure each one is released
// separately together with the members it already holds.
class OpenStack {
public:
    OpenStack() = default;
    OpenStack(const OpenStack &) = delete;
    OpenStack &operator=(const OpenStack &) = delete;
    ~OpenStack()
    {
        while (size_ > 0) {
            OpenContainer &top = items_[--size_];
            json_key_free(top.key);
            kel_json_unref(top.json);
        }
        g_free(items_);
    }

    gsize size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    OpenContainer &top() noexcept { return items_[size_ - 1]; }

    void push(KelJson *json) noexcept
    {
        if (size_ == capacity_) {
            capacity_ = capacity_ == 0 ? 16 : capacity_ * 2;
            items_ = g_renew(OpenContainer, items_, capacity_);
        }
        items_[size_++] = {json, nullptr};
    }

    // The innermost container, which the caller now owns (its key is NULL:
    // a container closes only after its last member was stored).
    KelJson *pop() noexcept { return items_[--size_].json; }

private:
    OpenContainer *items_ = nullptr;
    gsize size_ = 0;
    gsize capacity_ = 0;
};

class Parser {
public:
    Parser(KelJsonLexer *lex, int flags, KelError **error) noexcept
        : lex_(lex), flags_(flags), error_(error)
    {
    }

    KelJson *run() noexcept;

private:
    gint32 token() const noexcept { return lex_->token; }
    const char *token_name() const noexcept { return lex_token_name(lex_->token); }
    void next() noexcept { lex_next(lex_); }  // failures show as the invalid token

    // Reports a syntax error at the read position; the caller then fails.
    std::nullptr_t fail(const char *format, ...) noexcept G_GNUC_PRINTF(2, 3);

    KelJson *make_scalar() noexcept;
    bool begin_member() noexcept;
    KelJson *close_object(KelJson *obj) const noexcept;

    KelJsonLexer *lex_;
    int flags_;
    KelError **error_;
    OpenStack open_;
};

std::nullptr_t Parser::fail(const char *format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    lex_vfail(lex_, error_, format, args);
    va_end(args);
    return nullptr;
}

// A value made from the current token when it is not a bracket.
KelJson *Parser::make_scalar() noexcept
{
    switch (token()) {
    case KEL_JSON_TOKEN_STRING: {
        // The lexer has validated and decoded the text (it holds no NUL
        // byte), so the copy needs no second validation.
        return json_str_alloc(lex_->value.string.str, lex_->value.string.len);
    }
    case KEL_JSON_TOKEN_INTEGER:
        return kel_json_i64_new_base(lex_->value.integer);
    case KEL_JSON_TOKEN_UINT128:
        return kel_json_u128_new_base(lex_->value.u128);
    case KEL_JSON_TOKEN_REAL:
        return kel_json_double_new_base(lex_->value.real);
    case KEL_JSON_TOKEN_TRUE:
        return kel_json_bool_new_base(TRUE);
    case KEL_JSON_TOKEN_FALSE:
        return kel_json_bool_new_base(FALSE);
    case KEL_JSON_TOKEN_NULL:
        return kel_json_null_new_base();
    default:
        return fail("Syntax error: unexpected token: %s", token_name());
    }
}

// At the start of a member of the innermost object (after '{' or ','):
// reads the name and the colon and leaves the member's first token current.
bool Parser::begin_member() noexcept
{
    if (token() != KEL_JSON_TOKEN_STRING) {
        fail("Syntax error: expected string, got %s", token_name());
        return false;
    }
    OpenContainer &top = open_.top();
    // As for string values, the decoded name holds no NUL byte.
    char *name = json_key_new(lex_->value.string.str, lex_->value.string.len);
    if ((flags_ & KEL_JSON_LOAD_REJECT_DUPLICATES) != 0 && kel_json_obj_has_key(top.json, name)) {
        fail("Syntax error: duplicate key '%s'", name);
        json_key_free(name);
        return false;
    }
    top.key = name;
    next();
    if (token() != ':') {
        fail("Syntax error: expected ':', got %s", token_name());
        return false;
    }
    next();
    return true;
}

// A complete object whose only member is "$ref" with a string value (also
// through a reference that can be followed) becomes a reference value,
// unless the caller keeps such objects as they are.
KelJson *Parser::close_object(KelJson *obj) const noexcept
{
    if ((flags_ & KEL_JSON_LOAD_KEEP_REFS) != 0 || kel_json_obj_size(obj) != 1)
        return obj;
    const char *uri = kel_json_obj_get_str_base(obj, "$ref", nullptr);
    if (uri == nullptr)
        return obj;
    KelJson *ref = kel_json_jref_new_base(uri, nullptr);  // copies uri before obj goes
    kel_json_unref(obj);
    return ref;
}

KelJson *Parser::run() noexcept
{
    for (;;) {
        // The current token begins a value.
        KelJson *value;
        if (token() == '[' || token() == '{') {
            if (open_.size() == KEL_JSON_MAX_DEPTH)
                return fail("Syntax error: maximum nesting depth exceeded");
            if (token() == '[') {
                open_.push(kel_json_array_new_base(0, FALSE));
                next();
                if (token() != ']') {
                    if (token() == KEL_JSON_TOKEN_EOF)
                        return fail("Syntax error: expected ']', got %s", token_name());
                    continue;  // the first element
                }
                value = open_.pop();
            } else {
                open_.push(kel_json_obj_new_base(FALSE));
                next();
                if (token() != '}') {
                    if (!begin_member())
                        return nullptr;
                    continue;  // the first member's value
                }
                value = close_object(open_.pop());
            }
        } else {
            value = make_scalar();
            if (value == nullptr)
                return nullptr;
        }

        // `value` is complete: store it in the innermost open container, and
        // close every container that ends right after it.
        for (;;) {
            if (open_.empty())
                return value;
            OpenContainer &top = open_.top();
            if (top.json->type == KEL_JSON_ARRAY) {
                json_array_append_fresh(top.json, value);
                next();
                if (token() == ',') {
                    next();
                    if (token() == KEL_JSON_TOKEN_EOF)
                        return fail("Syntax error: expected ']', got %s", token_name());
                    break;  // the next element
                }
                if (token() != ']')
                    return fail("Syntax error: expected ']', got %s", token_name());
                value = open_.pop();
            } else {
                // Replaces an earlier member of the same name (the last one wins).
                json_obj_insert_fresh(top.json, top.key, value);
                top.key = nullptr;
                next();
                if (token() == ',') {
                    next();
                    if (!begin_member())
                        return nullptr;
                    break;  // the next member's value
                }
                if (token() != '}')
                    return fail("Syntax error: expected '}', got %s", token_name());
                value = close_object(open_.pop());
            }
        }
    }
}

KelJson *load(KelJsonLexGetFunc get, void *source, int flags, KelError **error) noexcept
{
    KelJsonLexer lex;
    lex_init(&lex, get, source, error);
    KelJson *value = nullptr;
    if (lex_next(&lex)) {
        value = parse_value(&lex, flags, error);
        if (value != nullptr && (flags & KEL_JSON_LOAD_ALLOW_TRAILING) == 0) {
            lex_next(&lex);
            if (lex.token != KEL_JSON_TOKEN_EOF) {
                report(&lex, error, "Expected EOF, got %s", lex_token_name(lex.token));
                kel_json_unref(value);
                value = nullptr;
            }
        }
    }
    g_string_free(lex.text, TRUE);
    return value;
}

}  // namespace

KelJson *parse_value(KelJsonLexer *lex, int flags, KelError **error) noexcept
{
    return Parser(lex, flags, error).run();
}

}  // namespace kel

using namespace kel;

KelJson *kel_json_loads(const char *in, int flags, KelError **error)
{
    if (in == nullptr) {
        json_arg_failed(error, "kel_json_loads", "in");
        return nullptr;
    }
    const gsize len = strnlen(in, kMaxStringInput + 1);
    if (len > kMaxStringInput) {
        // Reported like a syntax error, with the position item of an
        // untouched lexer (line 1, column 0, position 0).
        KelJsonLexer lex;
        lex_init(&lex, str_source_get, nullptr, error);
        report(&lex, error, "Syntax error: input longer than %d bytes", G_MAXINT32);
        g_string_free(lex.text, TRUE);
        return nullptr;
    }
    StrInput source;
    source.str = in;
    source.pos = 0;
    source.end = in + len;
    return load(str_source_get, &source, flags, error);
}

KelJson *kel_json_loadf(FILE *fh, int flags, KelError **error)
{
    if (fh == nullptr) {
        json_arg_failed(error, "kel_json_loadf", "fh");
        return nullptr;
    }
    KelJsonFileSource source = {fh};
    // One lock for the whole load; the reader then takes the bytes with the
    // unlocked getc.
    flockfile(fh);
    KelJson *root = load(file_source_get, &source, flags, error);
    funlockfile(fh);
    return root;
}
