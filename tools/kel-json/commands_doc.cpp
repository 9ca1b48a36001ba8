// Subcommands that work on one document: check, fmt, get, set, expand.
#include <algorithm>
#include <cstdint>
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "document.h"

namespace kj {

namespace {

// Reports a failure of the step that filled err, under the given name.
int fail(const std::string &where, ErrorChain &err)
{
    print_errors(where, err.head());
    return kExitFailed;
}

std::string quoted(const std::string &pointer) { return "\"" + pointer + "\""; }

// ---- check ------------------------------------------------------------------

int run_check(const Args &args)
{
    int status = kExitOk;
    for (const std::string &path : args.operands()) {
        ErrorChain err;
        if (!load_document(path, load_flags(args), err.slot())) {
            print_errors(display_name(path), err.head());
            status = kExitFailed;
        }
    }
    return status;
}

// ---- fmt ----------------------------------------------------------------------

int run_fmt(const Args &args)
{
    std::string path = args.operands().empty() ? "-" : args.operands()[0];
    ErrorChain err;
    JsonPtr doc = load_document(path, load_flags(args), err.slot());
    if (!doc)
        return fail(display_name(path), err);
    return print_document(doc.get(), args);
}

// ---- get ----------------------------------------------------------------------

// Follows a reference, or returns the value itself.
KelJson *deref(KelJson *value, KelError **err)
{
    return kel_json_jref_uri(value) ? kel_json_jref_deref_base(value, err) : value;
}

// The library's lookup stops at a reference on the way ("expected array or
// object, got reference"). With --deref the pointer is followed one token at
// a time instead, each step a lookup from the value reached so far, and
// every reference met is followed, the last one included. Messages still
// name pointers from the document's root: values know their place.
KelJson *get_through_references(KelJson *root, std::string pointer, KelError **err)
{
    if (!pointer.empty() && pointer[0] == '#')
        pointer.erase(0, 1);
    if (!pointer.empty() && pointer[0] != '/')
        return kel_json_ptr_get_base(root, pointer.c_str(), err);  // the library reports it
    KelJson *current = deref(root, err);
    size_t pos = 0;
    while (current != nullptr && pos < pointer.size()) {
        size_t next = std::min(pointer.find('/', pos + 1), pointer.size());
        std::string token = pointer.substr(pos, next - pos);  // "/name", escapes kept
        current = kel_json_ptr_get_base(current, token.c_str(), err);
        if (current != nullptr)
            current = deref(current, err);
        pos = next;
    }
    return current;
}

int run_get(const Args &args)
{
    const std::string &path = args.operands()[0];
    const std::string &pointer = args.operands()[1];
    ErrorChain err;
    JsonPtr doc = load_document(path, load_flags(args), err.slot());
    if (!doc)
        return fail(display_name(path), err);

    KelJson *value = args.has("deref")
                         ? get_through_references(doc.get(), pointer, err.slot())
                         : kel_json_ptr_get_base(doc.get(), pointer.c_str(), err.slot());
    if (value == nullptr) {
        push_context(err.slot(), "no value at " + quoted(pointer));
        return fail(display_name(path), err);
    }
    return print_document(value, args);
}

// ---- set ----------------------------------------------------------------------

// The library's insertion ends a pointer at its first empty reference token
// ("/a//b" and "/a/" both write to "/a"), so a pointer that has one anywhere
// but in the lone "/" would silently replace more than the user named.
bool has_inner_empty_token(const std::string &pointer)
{
    if (pointer == "/")
        return false;
    return pointer.find("//") != std::string::npos || (!pointer.empty() && pointer.back() == '/');
}

int run_set(const Args &args)
{
    const std::string &path = args.operands()[0];
    std::string pointer = args.operands()[1];
    const std::string &text = args.operands()[2];
    ErrorChain err;
    JsonPtr doc = load_document(path, load_flags(args), err.slot());
    if (!doc)
        return fail(display_name(path), err);
    JsonPtr value = load_text(text, load_flags(args), err.slot());
    if (!value)
        return fail("VALUE", err);

    // A pointer may be written as a URI fragment, as `get` accepts it.
    if (!pointer.empty() && pointer[0] == '#')
        pointer.erase(0, 1);
    if (pointer.empty())
        return print_document(value.get(), args);  // the value replaces the document

    if (has_inner_empty_token(pointer)) {
        kel_set_error(err.slot(), kel_json_error_domain(), KEL_JSON_POINTER_INVALID,
                      "cannot set %s: an empty member name can only be set directly below the "
                      "root (pointer \"/\")",
                      quoted(pointer).c_str());
        return fail(display_name(path), err);
    }
    if (args.has("no-create") && pointer[0] == '/') {
        std::string parent = pointer.substr(0, pointer.rfind('/'));
        if (kel_json_ptr_get_base(doc.get(), parent.c_str(), err.slot()) == nullptr) {
            push_context(err.slot(), "cannot set " + quoted(pointer) + ": its container " +
                                         quoted(parent) + " does not exist (--no-create)");
            return fail(display_name(path), err);
        }
    }
    // Strict: an index past the end of an array is an error, not a gap to fill.
    if (!kel_json_ptr_put_base(doc.get(), pointer.c_str(), value.get(), TRUE, nullptr,
                               err.slot())) {
        push_context(err.slot(), "cannot set " + quoted(pointer));
        return fail(display_name(path), err);
    }
    value.release();  // the document owns it now
    return print_document(doc.get(), args);
}

// ---- expand -------------------------------------------------------------------

int run_expand(const Args &args)
{
    const std::string &path = args.operands()[0];
    ErrorChain err;
    JsonPtr doc = load_document(path, load_flags(args), err.slot());
    if (!doc)
        return fail(display_name(path), err);
    if (!kel_json_jref_expand(doc.get(), err.slot())) {
        push_context(err.slot(), "cannot expand the references");
        return fail(display_name(path), err);
    }
    return print_document(doc.get(), args);
}

}  // namespace

std::vector<Command> document_commands()
{
    return {
        {"check", "FILE...", "validate documents and report each error with its position",
         "Parses each FILE and reports why a failed parse stopped, on one line:\n"
         "FILE:LINE:COLUMN: error: MESSAGE [CODE]. --verbose adds the parser's view\n"
         "of the same place, newest first. Prints nothing for valid files.\n"
         "Exits with 1 when any FILE is invalid or unreadable.",
         {}, false, 1, SIZE_MAX, run_check},
        {"fmt", "[FILE]", "re-write a document, pretty by default",
         "Parses FILE (standard input when it is missing or \"-\") and writes it again\n"
         "with the library's serializer. Numbers keep their values exactly.",
         {}, true, 0, 1, run_fmt},
        {"get", "FILE POINTER", "print the value at a JSON pointer",
         "Prints the value that POINTER (RFC 6901, e.g. /items/0/name or #/items/0)\n"
         "names in FILE. A missing path is an error that names it.",
         {{"deref", 0, nullptr,
           "follow references ($ref) met on the way and print the target of one found there"}},
         true, 2, 2, run_get},
        {"set", "FILE POINTER VALUE", "put a JSON value at a pointer and print the result",
         "Parses VALUE as JSON text, puts it at POINTER in FILE and prints the whole\n"
         "document. Missing objects and arrays on the way are created (an array when\n"
         "the next token is an index or \"-\"); \"-\" appends to an array. The empty\n"
         "pointer replaces the whole document. FILE itself is not changed unless it is\n"
         "also given to -o.",
         {{"no-create", 0, nullptr, "fail instead of creating missing containers"}},
         true, 3, 3, run_set},
        {"expand", "FILE", "replace every $ref by a copy of its target",
         "Replaces every reference ({\"$ref\": \"#/pointer\"}) in FILE by a copy of the\n"
         "value it names and prints the result. A circular reference is an error that\n"
         "names the reference met a second time.",
         {}, true, 1, 1, run_expand},
    };
}

}  // namespace kj
