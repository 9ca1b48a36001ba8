// A JSON pointer walk for the peer libraries, which have no pointer lookup of
// their own: the same token decoding ("~0", "~1") and index parsing for
// each, so that the peers pay comparable per-token work to libkel's lookup.
#pragma once

#include <charconv>
#include <string>

namespace bench {

// Step(node, token) returns the child named by the decoded token, or a null
// node; it decides itself whether the token is a key or an index.
template <typename Node, typename Step>
Node pointer_walk(Node root, const char *ptr, Step step)
{
    static thread_local std::string token;
    Node node = root;
    const char *p = ptr;
    if (*p == '#') p++;
    while (node && *p == '/') {
        p++;
        token.clear();
        for (; *p && *p != '/'; p++) {
            if (p[0] == '~' && (p[1] == '0' || p[1] == '1')) {
                token.push_back(p[1] == '0' ? '~' : '/');
                p++;
            } else {
                token.push_back(*p);
            }
        }
        node = step(node, token);
    }
    return *p ? Node{} : node;
}

// Parses a decimal array index; false for anything else.
inline bool pointer_index(const std::string &token, std::size_t *out)
{
    if (token.empty()) return false;
    auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), *out);
    return ec == std::errc{} && end == token.data() + token.size();
}

}  // namespace bench
