// RapidJSON under the common operations table: header-only, compiled with
// libkel's own flags, default allocators (a memory pool per document) and
// default parse flags (strings copied out of the input; no in-situ parsing).
#include <rapidjson/document.h>
#include <rapidjson/filereadstream.h>
#include <rapidjson/pointer.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <rapidjson/error/en.h>

#include <cstdio>

#include "libs.h"

namespace {

using bench::Doc;
using Document = rapidjson::Document;

Document *as_doc(Doc doc)
{
    return static_cast<Document *>(doc);
}

Doc parse(const char *text, std::size_t len, std::string *err)
{
    auto *doc = new Document;
    doc->Parse(text, len);
    if (doc->HasParseError()) {
        if (err) *err = rapidjson::GetParseError_En(doc->GetParseError());
        delete doc;
        return nullptr;
    }
    return doc;
}

void *file_open(const char *path)
{
    return std::fopen(path, "rb");
}

// The read buffer is the size RapidJSON's own examples use.
Doc file_parse(void *file)
{
    auto *fh = static_cast<FILE *>(file);
    std::rewind(fh);
    static thread_local char buffer[65536];
    rapidjson::FileReadStream in(fh, buffer, sizeof buffer);
    auto *doc = new Document;
    doc->ParseStream(in);
    if (doc->HasParseError()) {
        delete doc;
        return nullptr;
    }
    return doc;
}

void file_close(void *file)
{
    std::fclose(static_cast<FILE *>(file));
}

void release(Doc doc)
{
    delete as_doc(doc);
}

template <typename Writer>
std::size_t write(const Document &doc)
{
    rapidjson::StringBuffer out;
    Writer writer(out);
    if (!doc.Accept(writer)) return 0;
    return out.GetSize();
}

// RapidJSON cannot sort member names: the pretty row is unsorted.
std::size_t dump(Doc doc, bool pretty_sorted)
{
    const Document &d = *as_doc(doc);
    return pretty_sorted ? write<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(d)
                         : write<rapidjson::Writer<rapidjson::StringBuffer>>(d);
}

Doc copy(Doc doc)
{
    auto *dst = new Document;
    dst->CopyFrom(*as_doc(doc), dst->GetAllocator());
    return dst;
}

bool equal(Doc a, Doc b)
{
    return *as_doc(a) == *as_doc(b);
}

// RapidJSON's own pointer lookup, which parses the pointer on every call as
// libkel's does.
bool lookup(Doc doc, const char *pointer)
{
    return rapidjson::Pointer(pointer).Get(*as_doc(doc)) != nullptr;
}

}  // namespace

const bench::LibOps bench::rapidjson_ops = {
    "RapidJSON", parse, file_open, file_parse, file_close, release, dump, copy, equal, lookup,
    "parse: Document::Parse (default flags, no in-situ); file: FileReadStream (64 KiB buffer) on "
    "a rewound FILE*; compact: Writer; pretty: PrettyWriter, NOT sorted; copy: CopyFrom; "
    "equal: operator==; pointer: Pointer(text).Get",
};
