// Ownership helpers for the library's handles, and the printing of error
// chains on standard error.
#pragma once

#include <memory>
#include <string>

#include <kel.h>

namespace kj {

inline constexpr const char *kProgram = "kel-json";

// Exit statuses shared by every subcommand.
enum Exit { kExitOk = 0, kExitFailed = 1, kExitUsage = 2 };

struct JsonUnref {
    void operator()(KelJson *json) const { kel_json_unref(json); }
};
// Owns a value that has no parent (a document root, a copy, a union result).
using JsonPtr = std::unique_ptr<KelJson, JsonUnref>;

// Owns an error chain; pass slot() to the library.
class ErrorChain {
public:
    ErrorChain() = default;
    ~ErrorChain() { kel_clear_error(&err_); }
    ErrorChain(const ErrorChain &) = delete;
    ErrorChain &operator=(const ErrorChain &) = delete;

    KelError **slot() { return &err_; }
    const KelError *head() const { return err_; }
    explicit operator bool() const { return err_ != nullptr; }

private:
    KelError *err_ = nullptr;
};

// Pushes a KEL_IO_FAIL error of the base domain (the library reserves that
// code for its callers' input/output failures).
void push_io_error(KelError **err, const std::string &message);

// Pushes an error that says what the tool was doing, on top of the chain,
// with the domain and code of the error below it so that the code names of
// the chain agree. With an empty chain the error is KEL_ARG_INVALID.
void push_context(KelError **err, const std::string &message);

// The registered name of an error's code ("KEL_JSON_PARSE_ERROR"), or
// "domain:code" for a domain that registered no names.
std::string code_name(const KelError *error);

// Prints the errors of the chain, newest first, one line each:
//   WHERE:LINE:COLUMN: error: MESSAGE [CODE_NAME]  (error with a position)
//   WHERE: error: MESSAGE [CODE_NAME]              (any other error)
// Of the errors of one parse failure (consecutive errors with a position)
// only the oldest, most specific one is printed unless verbose output was
// asked for with set_verbose_errors.
void print_errors(const std::string &where, const KelError *chain);
void set_verbose_errors(bool verbose);

// "kel-json: MESSAGE" and a hint to the subcommand's help; returns kExitUsage.
int usage_error(const std::string &command, const std::string &message);

}  // namespace kj
