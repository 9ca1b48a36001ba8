// Navigation by JSON pointer: lookup, insertion with creation of the
// missing containers, and the typed put family built on insertion.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "kel_internal.h"

namespace {

// A pointer is short text, but an index in it can be as large as 2^31 - 1,
// and a fill can be a large tree: a gap filled with copies could make
// billions of values from a few bytes. What a put may create is counted in
// values (the gap times the fill's values) and refused past
// KEL_JSON_PUT_FILL_MAX_VALUES with the usual out-of-bounds error.
constexpr gint64 kMaxFillValues = KEL_JSON_PUT_FILL_MAX_VALUES;

// The number of values in `json`, counted up to `limit` + 1 at most, so a
// huge fill costs no more to measure than the bound allows to copy.
gint64 count_values(KelJson *json, gint64 limit)
{
    std::vector<KelJson *> pending{json};
    gint64 count = 0;
    while (!pending.empty() && count <= limit) {
        KelJson *node = pending.back();
        pending.pop_back();
        count++;
        if (node->type == KEL_JSON_ARRAY) {
            for (guint i = 0; i < node->array->len; i++)
                pending.push_back(static_cast<KelJson *>(g_ptr_array_index(node->array, i)));
        } else if (node->type == KEL_JSON_OBJECT) {
            GHashTableIter it;
            gpointer value;
            g_hash_table_iter_init(&it, node->obj);
            while (g_hash_table_iter_next(&it, nullptr, &value))
                pending.push_back(static_cast<KelJson *>(value));
        }
    }
    return count;
}

enum class TokenClass { None, Index, Key, Append };

// The unescaped text of a token, NUL-terminated. Tokens are short: the text
// lives in the object itself unless it outgrows the inline room.
class TokenText {
public:
    TokenText() = default;
    ~TokenText()
    {
        if (data_ != inline_)
            g_free(data_);
    }
    TokenText(const TokenText &) = delete;
    TokenText &operator=(const TokenText &) = delete;

    const char *str() const noexcept { return data_; }
    std::size_t len() const noexcept { return len_; }
    void clear() noexcept { data_[len_ = 0] = '\0'; }

    void append(const char *text, std::size_t n) noexcept
    {
        if (len_ + n >= capacity_)
            grow(len_ + n + 1);
        std::memcpy(data_ + len_, text, n);
        data_[len_ += n] = '\0';
    }

private:
    void grow(std::size_t need) noexcept
    {
        capacity_ = std::max(need, capacity_ * 2);
        if (data_ == inline_) {
            data_ = static_cast<char *>(g_malloc(capacity_));
            std::memcpy(data_, inline_, len_ + 1);
        } else {
            data_ = static_cast<char *>(g_realloc(data_, capacity_));
        }
    }

    char inline_[64] = "";
    char *data_ = inline_;
    std::size_t len_ = 0;
    std::size_t capacity_ = sizeof inline_;
};

// One token of the walk: its unescaped text and what it was read as.
struct Token {
    TokenClass cls = TokenClass::None;
    TokenText text;
    gint32 index = 0;

    bool positional() const { return cls == TokenClass::Index || cls == TokenClass::Append; }
};

// Reads the token at ptr[pos] into `buf`. Returns the bytes it spans (the
// leading "/" included, 0 at the end of the text) or -1 after reporting an
// error.
int ptr_next_token(const char *ptr, int pos, TokenText &buf, KelError **error)
{
    buf.clear();
    const char *start = ptr + pos;
    if (*start == '\0')
        return 0;
    if (*start != '/') {
        kel_json_set_error(error, KEL_JSON_FEATURE_UNSUPPORTED,
                           "Relative JSON pointers are not supported: %s", start);
        return -1;
    }
    const char *p = start + 1;
    while (*p != '\0' && *p != '/') {
        if (*p != '~') {
            // The run up to the next escape, separator or end, copied whole.
            const std::size_t run = std::strcspn(p, "~/");
            buf.append(p, run);
            p += run;
            continue;
        }
        if (p[1] != '0' && p[1] != '1') {
            // Shows the token from its "/" through the byte after the "~".
            kel_set_error(error, kel_json_error_domain(), KEL_JSON_POINTER_INVALID,
                          "Invalid JSON pointer escape sequence: %.*s",
                          static_cast<int>(p - start) + 2, start);
            return -1;
        }
        buf.append(p[1] == '0' ? "~" : "/", 1);
        p += 2;
    }
    return static_cast<int>(p - start);
}

// Decides what a non-empty token is. An index is whatever g_ascii_strtoull
// (base 0) reads completely without a range error; its low 32 bits are the
// index, read as signed (so "-1" is -1 and "4294967296" is 0).
void classify(Token &tok)
{
    const char *text = tok.text.str();
    const std::size_t len = tok.text.len();
    if (len == 1 && text[0] == '-') {
        tok.cls = TokenClass::Append;
        return;
    }
    // The common cases without the conversion: a token that does not begin
    // the way a number can (digit, sign, or the blanks strtoull skips) is a
    // name, and up to nine decimal digits without a leading zero are an index.
    const auto first = static_cast<unsigned char>(text[0]);
    if (len == 0 || (first > ' ' && !g_ascii_isdigit(first) && first != '+' && first != '-')) {
        tok.cls = TokenClass::Key;
        return;
    }
    if (len <= 9 && (first != '0' || len == 1)) {
        gint32 value = 0;
        std::size_t i = 0;
        for (; i < len && g_ascii_isdigit(text[i]); i++)
            value = value * 10 + (text[i] - '0');
        if (i == len) {
            tok.cls = TokenClass::Index;
            tok.index = value;
            return;
        }
    }
    char *end = nullptr;
    errno = 0;
    guint64 value = g_ascii_strtoull(text, &end, 0);
    if (end != text && *end == '\0' && errno != ERANGE) {
        tok.cls = TokenClass::Index;
        tok.index = static_cast<gint32>(static_cast<guint32>(value));
    } else {
        tok.cls = TokenClass::Key;
    }
}

void not_an_object(KelError **error, KelJson *array)
{
    kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                       "invalid JSON type for %P: expected object, got array", array);
}

// ---- Lookup ---------------------------------------------------------------------

// One step of the lookup: the member or element named by `tok`, or NULL.
KelJson *get_step(KelJson *current, const Token &tok, KelError **error)
{
    switch (current->type) {
    case KEL_JSON_ARRAY: {
        if (!tok.positional()) {
            not_an_object(error, current);
            return nullptr;
        }
        // "-" names the position past the end, which never exists; asking
        // for length plus one makes the array report it as out of bounds.
        int position = tok.cls == TokenClass::Index
                           ? tok.index
                           : static_cast<int>(current->array->len + 1);
        if (kel::error_pending(error))
            return nullptr;
        return kel_json_array_get_base(current, position, 0, error);
    }
    case KEL_JSON_OBJECT:
        if (kel::error_pending(error))
            return nullptr;
        return kel_json_obj_get_base(current, tok.text.str(), 0, error);
    default:
        // References on the path are not followed.
        kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                           "invalid JSON type for %P: expected array or object, got %s", current,
                           kel_json_type_string(current, TRUE));
        return nullptr;
    }
}

// ---- Insertion ------------------------------------------------------------------

// The state of one put: where the walk stands and what it has made so far.
struct PutWalk {
    KelJson *container;
    gboolean strict;
    KelError **error;
    KelJson *first_created = nullptr;  // the outermost container this call made

    // A gap past the end whose copies of `fill` (nullptr: a new, empty
    // container) would be more values than the bound.
    bool gap_too_large(KelJson *array, gint32 index, KelJson *fill) const
    {
        gint64 gap = static_cast<gint64>(index) - static_cast<gint64>(array->array->len);
        if (gap <= 0)
            return false;
        const gint64 per_copy = fill != nullptr ? count_values(fill, kMaxFillValues / gap) : 1;
        if (gap * per_copy <= kMaxFillValues)
            return false;
        kel_json_set_error(error, KEL_JSON_INDEX_INVALID, "Index %d is out of bounds for JSON array %P",
                           index, array);
        return true;
    }

    // Descends through `pending` in the current container, creating the
    // container that `next` needs when it is missing (or always, once this
    // call has created one: everything below a new container is new).
    bool step(const Token &pending, const Token &next)
    {
        KelJson *made = nullptr;
        bool linked = false;
        switch (container->type) {
        case KEL_JSON_OBJECT:
            if (first_created == nullptr) {
                if (KelJson *found = kel_json_obj_get_base(container, pending.text.str(), 0, nullptr)) {
                    container = found;
                    return true;
                }
            }
            made = new_container(next);
            if (!kel::error_pending(error))
                linked = kel_json_obj_put_base(container, pending.text.str(), made, error);
            break;
        case KEL_JSON_ARRAY:
            if (!pending.positional()) {
                not_an_object(error, container);
                return false;
            }
            if (first_created == nullptr && pending.cls == TokenClass::Index) {
                if (KelJson *found = kel_json_array_get_base(container, pending.index, 0, nullptr)) {
                    container = found;
                    return true;
                }
            }
            if (pending.cls == TokenClass::Index && !strict && gap_too_large(container, pending.index, nullptr))
                return false;
            made = new_container(next);
            if (pending.cls == TokenClass::Append)
                linked = kel_json_array_push_base(container, made, nullptr);
            else
                // Non-strict: a gap is filled with copies of the new, still
                // empty container.
                linked = kel_json_array_put_ext(container, pending.index, made,
                                                strict ? nullptr : made, error);
            break;
        default:
            kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                               "invalid JSON type for %P: expected object or array, got %s", container,
                               kel_json_type_string(container, TRUE));
            return false;
        }
        if (!linked) {
            kel_json_unref(made);  // never linked: this frees it
            return false;
        }
        if (first_created == nullptr)
            first_created = made;
        container = made;
        return true;
    }

    static KelJson *new_container(const Token &next)
    {
        return next.positional() ? kel_json_array_new_base(1, FALSE) : kel_json_obj_new_base(FALSE);
    }

    // The insertion of elem for the last token.
    gboolean finish(const Token &pending, KelJson *elem, KelJson *fill)
    {
        switch (container->type) {
        case KEL_JSON_ARRAY:
            if (pending.cls == TokenClass::Append) {
                if (kel::error_pending(error))
                    return FALSE;
                return kel_json_array_push_base(container, elem, error);
            }
            if (pending.cls == TokenClass::Index) {
                if (fill != nullptr && gap_too_large(container, pending.index, fill))
                    return FALSE;
                return kel_json_array_put_ext(container, pending.index, elem, fill, error);
            }
            not_an_object(error, container);
            return FALSE;
        case KEL_JSON_OBJECT:
            if (kel::error_pending(error))
                return FALSE;
            // With no token at all (the pointer "/") the name is "".
            return kel_json_obj_put_base(container, pending.text.str(), elem, error);
        default:
            kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                               "invalid JSON type for %P: expected object or array, got %s", container,
                               kel_json_type_string(container, TRUE));
            return FALSE;
        }
    }

    // A failed walk gives back what it made. A container linked into the
    // document stays there (unref leaves linked values alone); only one that
    // never got linked is freed.
    gboolean fail()
    {
        kel_json_unref(first_created);
        return FALSE;
    }
};

// Makes a value, puts it at ptr strictly and hands it back borrowed; the one
// implementation behind every typed put. `make` returns the new value or NULL
// (a constructor that failed has reported its own error).
template <typename Make>
KelJson *put_new(KelJson *root, const char *ptr, KelError **error, Make make)
{
    KelJson *value = make();
    if (value == nullptr)
        return nullptr;
    if (kel::error_pending(error) || !kel_json_ptr_put_base(root, ptr, value, TRUE, nullptr, error)) {
        kel_json_unref(value);
        return nullptr;
    }
    return value;
}

}  // namespace

KelJson *kel_json_ptr_get_base(KelJson *root, const char *ptr, KelError **error)
{
    if (root == nullptr) {
        kel::json_arg_failed(error, "kel_json_ptr_get_base", "root");
        return nullptr;
    }
    if (ptr == nullptr) {
        kel::json_arg_failed(error, "kel_json_ptr_get_base", "ptr");
        return nullptr;
    }
    // The lookup also takes the URI-fragment form ("#", "#/a").
    int pos = ptr[0] == '#' ? 1 : 0;
    KelJson *current = root;
    Token tok;
    for (;;) {
        int n = ptr_next_token(ptr, pos, tok.text, error);
        if (n == 0)
            return current;
        if (n < 0)
            return nullptr;
        pos += n;
        classify(tok);
        current = get_step(current, tok, error);
        if (current == nullptr)
            return nullptr;
    }
}

gboolean kel_json_ptr_put_base(KelJson *root, const char *ptr, KelJson *elem, gboolean strict,
                               KelJson *fill, KelError **error)
{
    constexpr const char *kFunc = "kel_json_ptr_put_base";
    if (root == nullptr) {
        kel::json_arg_failed(error, kFunc, "root");
        return FALSE;
    }
    if (ptr == nullptr) {
        kel::json_arg_failed(error, kFunc, "ptr");
        return FALSE;
    }
    if (elem == nullptr) {
        kel::json_arg_failed(error, kFunc, "elem");
        return FALSE;
    }
    if (*ptr == '\0') {
        kel::json_arg_failed(error, kFunc, "*ptr != '\\0'");
        return FALSE;
    }

    PutWalk walk{root, strict, error};
    // Two token records in turn: the token being read and the one waiting
    // for its step, which needs to know the kind of the token after it.
    Token records[2];
    Token *current = &records[0];
    Token *pending = &records[1];
    int pos = 0;  // no leading "#" here: it fails as a relative pointer
    for (;;) {
        int n = ptr_next_token(ptr, pos, current->text, error);
        if (n < 0)
            return walk.fail();
        // The end of the text, or an empty token: the walk ends here and the
        // rest of the pointer is ignored.
        if (current->text.len() == 0)
            break;
        pos += n;
        classify(*current);
        if (pending->cls != TokenClass::None && !walk.step(*pending, *current))
            return walk.fail();
        std::swap(current, pending);
    }
    return walk.finish(*pending, elem, fill);
}

// ---- Typed puts -----------------------------------------------------------------

KelJson *kel_json_ptr_put_array_base(KelJson *root, const char *ptr, KelError **error)
{
    return put_new(root, ptr, error, [] { return kel_json_array_new_base(0, FALSE); });
}

KelJson *kel_json_ptr_put_obj_base(KelJson *root, const char *ptr, KelError **error)
{
    return put_new(root, ptr, error, [] { return kel_json_obj_new_base(FALSE); });
}

KelJson *kel_json_ptr_put_bool_base(KelJson *root, const char *ptr, gboolean value, KelError **error)
{
    return put_new(root, ptr, error, [value] { return kel_json_bool_new_base(value); });
}

KelJson *kel_json_ptr_put_double_base(KelJson *root, const char *ptr, double value, KelError **error)
{
    return put_new(root, ptr, error, [value] { return kel_json_double_new_base(value); });
}

KelJson *kel_json_ptr_put_u64_base(KelJson *root, const char *ptr, guint64 value, KelError **error)
{
    return put_new(root, ptr, error, [value] { return kel_json_u64_new_base(value); });
}

KelJson *kel_json_ptr_put_i64_base(KelJson *root, const char *ptr, gint64 value, KelError **error)
{
    return put_new(root, ptr, error, [value] { return kel_json_i64_new_base(value); });
}

KelJson *kel_json_ptr_put_u128_base(KelJson *root, const char *ptr, KelUint128 value, KelError **error)
{
    return put_new(root, ptr, error, [value] { return kel_json_u128_new_base(value); });
}

KelJson *kel_json_ptr_put_str_base(KelJson *root, const char *ptr, const char *value, KelError **error)
{
    return put_new(root, ptr, error, [value, error] { return kel_json_str_new_base(value, error); });
}

KelJson *kel_json_ptr_put_jref_base(KelJson *root, const char *ptr, const char *uri, KelError **error)
{
    return put_new(root, ptr, error, [uri, error] { return kel_json_jref_new_base(uri, error); });
}
