// Subcommands that compare or combine two documents: merge, contains, and
// the two kinds of patch.
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "document.h"

namespace kj {

namespace {

// Both operands, loaded; on failure the errors have been printed.
struct Pair {
    JsonPtr left;
    JsonPtr right;
};

// right_flags: load flags for the right operand on top of the common ones.
bool load_pair(const Args &args, Pair &pair, int right_flags = 0)
{
    const std::string &left = args.operands()[0];
    const std::string &right = args.operands()[1];
    ErrorChain err;
    pair.left = load_document(left, load_flags(args), err.slot());
    if (!pair.left) {
        print_errors(display_name(left), err.head());
        return false;
    }
    pair.right = load_document(right, load_flags(args) | right_flags, err.slot());
    if (!pair.right) {
        print_errors(display_name(right), err.head());
        return false;
    }
    return true;
}

// ---- merge --------------------------------------------------------------------

int run_merge(const Args &args)
{
    guint flags = 0;
    if (auto prefer = args.value("prefer")) {
        if (*prefer == "left")
            flags |= KEL_JSON_UNION_RESOLVE;
        else if (*prefer == "right")
            flags |= KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT;
        else
            return usage_error("merge", "--prefer takes 'left' or 'right', not '" + *prefer + "'");
    }
    if (args.has("append-primitives"))
        flags |= KEL_JSON_UNION_APPEND_PRIMITIVES;
    // Concatenating containers only makes sense when primitives are
    // concatenated too (the library ignores the flag otherwise).
    if (args.has("append-containers"))
        flags |= KEL_JSON_UNION_APPEND_PRIMITIVES | KEL_JSON_UNION_APPEND_CONTAINERS;

    Pair pair;
    if (!load_pair(args, pair))
        return kExitFailed;
    ErrorChain err;
    JsonPtr merged(kel_json_union(pair.left.get(), pair.right.get(), flags, err.slot()));
    if (!merged) {
        push_context(err.slot(), "cannot merge " + display_name(args.operands()[0]) + " and " +
                                     display_name(args.operands()[1]));
        print_errors(kProgram, err.head());
        return kExitFailed;
    }
    return print_document(merged.get(), args);
}

// ---- contains -------------------------------------------------------------------

// 0: LEFT is contained in RIGHT; 1: it is not; 2: an operand could not be
// read (as cmp and diff do, so that trouble never reads as an answer).
int run_contains(const Args &args)
{
    guint flags = 0;
    if (args.has("run"))
        flags |= KEL_JSON_SUBSET_ARRAY_RUN;
    // The library reads the prefix and length bits only together with the
    // ones before them; each option implies what it builds on.
    if (args.has("prefix"))
        flags |= KEL_JSON_SUBSET_ARRAY_RUN | KEL_JSON_SUBSET_ARRAY_PREFIX;
    if (args.has("length"))
        flags |= KEL_JSON_SUBSET_ARRAY_RUN | KEL_JSON_SUBSET_ARRAY_PREFIX |
                 KEL_JSON_SUBSET_ARRAY_LENGTH;
    if (args.has("same-size"))
        flags |= KEL_JSON_SUBSET_OBJ_SIZE;
    if (args.has("equal"))
        flags |= KEL_JSON_SUBSET_EQUAL;

    Pair pair;
    if (!load_pair(args, pair))
        return kExitUsage;
    return kel_json_subset(pair.left.get(), pair.right.get(), flags) ? kExitOk : kExitFailed;
}

// ---- patch, merge-patch ------------------------------------------------------------

int run_patch(const Args &args)
{
    // An operation that names a member twice ("op" given twice) is ambiguous,
    // and the library only ever sees the last one: the patch file is always
    // read with duplicates refused.
    Pair pair;
    if (!load_pair(args, pair, KEL_JSON_LOAD_REJECT_DUPLICATES))
        return kExitFailed;
    ErrorChain err;
    if (!kel_json_patch_apply(pair.left.get(), pair.right.get(), err.slot())) {
        push_context(err.slot(), "cannot apply the patch " + display_name(args.operands()[1]));
        print_errors(display_name(args.operands()[0]), err.head());
        return kExitFailed;
    }
    return print_document(pair.left.get(), args);
}

int run_merge_patch(const Args &args)
{
    Pair pair;
    if (!load_pair(args, pair))
        return kExitFailed;
    ErrorChain err;
    JsonPtr result(kel_json_merge_patch(pair.left.get(), pair.right.get(), err.slot()));
    if (!result) {
        print_errors(kProgram, err.head());
        return kExitFailed;
    }
    return print_document(result.get(), args);
}

}  // namespace

std::vector<Command> pair_commands()
{
    return {
        {"merge", "LEFT RIGHT", "print the union of two documents",
         "Merges two objects member by member (recursively) or two arrays position by\n"
         "position and prints the result. Two different values under one name are a\n"
         "conflict, reported with the pointers of both, unless --prefer chooses a side.",
         {
             {"prefer", 0, "SIDE", "resolve conflicts with the value of SIDE: left or right"},
             {"append-primitives", 0, nullptr,
              "arrays: put RIGHT's scalar elements after LEFT's instead of pairing them"},
             {"append-containers", 0, nullptr,
              "arrays: also put RIGHT's objects and arrays after LEFT's (plain "
              "concatenation; implies --append-primitives)"},
         },
         true, 2, 2, run_merge},
        {"contains", "LEFT RIGHT", "exit 0 when LEFT is contained in RIGHT",
         "Exits with 0 when every member of LEFT is in RIGHT (recursively; array\n"
         "elements in order), with 1 when not, and with 2 when a document cannot be\n"
         "read. Numbers compare by value across integer and double kinds.",
         {
             {"equal", 0, nullptr, "require deep equality (all options below)"},
             {"run", 0, nullptr, "arrays: LEFT's elements must be a contiguous run of RIGHT's"},
             {"prefix", 0, nullptr, "arrays: the run must start RIGHT's array (implies --run)"},
             {"length", 0, nullptr,
              "arrays: the arrays must be of equal length (implies --prefix)"},
             {"same-size", 0, nullptr, "objects: both must have the same number of members"},
         },
         false, 2, 2, run_contains},
        {"patch", "FILE PATCH", "apply a JSON Patch (RFC 6902) and print the result",
         "Applies the operations of PATCH (an array of add, remove, replace, move, copy\n"
         "and test operations) to FILE in order and prints the result. Paths are strict\n"
         "JSON pointers (no \"#\"; \"-\" only to append). When an operation fails, nothing\n"
         "is printed or written and the error names the operation (\"/2\" for the\n"
         "third) and its path; the exit status is 1. A member repeated in one\n"
         "operation makes PATCH invalid.",
         {}, true, 2, 2, run_patch},
        {"merge-patch", "FILE PATCH", "apply a JSON Merge Patch (RFC 7386) and print the result",
         "Merges the object PATCH into FILE member by member, recursively: a null\n"
         "member removes the name, any other value replaces it. A PATCH that is not an\n"
         "object replaces the whole document.",
         {}, true, 2, 2, run_merge_patch},
    };
}

}  // namespace kj
