// json-glib under the common operations table.
#include <json-glib/json-glib.h>

#include "libs.h"
#include "pointer_walk.h"

namespace {

using bench::Doc;

JsonNode *load_data(const char *text, std::size_t len, std::string *err)
{
    JsonParser *parser = json_parser_new();
    GError *error = nullptr;
    JsonNode *root = nullptr;
    if (json_parser_load_from_data(parser, text, static_cast<gssize>(len), &error))
        root = json_parser_steal_root(parser);
    if (error) {
        if (err) *err = error->message;
        g_error_free(error);
    }
    g_object_unref(parser);
    return root;
}

Doc parse(const char *text, std::size_t len, std::string *err)
{
    return load_data(text, len, err);
}

void *file_open(const char *path)
{
    GFile *file = g_file_new_for_path(path);
    GFileInputStream *stream = g_file_read(file, nullptr, nullptr);
    g_object_unref(file);
    return stream;
}

Doc file_parse(void *file)
{
    auto *stream = static_cast<GFileInputStream *>(file);
    if (!g_seekable_seek(G_SEEKABLE(stream), 0, G_SEEK_SET, nullptr, nullptr)) return nullptr;
    JsonParser *parser = json_parser_new();
    JsonNode *root = nullptr;
    if (json_parser_load_from_stream(parser, G_INPUT_STREAM(stream), nullptr, nullptr))
        root = json_parser_steal_root(parser);
    g_object_unref(parser);
    return root;
}

void file_close(void *file)
{
    g_object_unref(file);
}

void release(Doc doc)
{
    json_node_unref(static_cast<JsonNode *>(doc));
}

// json-glib's generator has no option to sort member names.
std::size_t dump(Doc doc, bool pretty_sorted)
{
    JsonGenerator *gen = json_generator_new();
    json_generator_set_root(gen, static_cast<JsonNode *>(doc));
    json_generator_set_pretty(gen, pretty_sorted);
    json_generator_set_indent(gen, 2);
    gsize len = 0;
    gchar *out = json_generator_to_data(gen, &len);
    g_free(out);
    g_object_unref(gen);
    return out ? len : 0;
}

// json_node_copy shares the object or array of a container node, so the
// deep copy is written here over the public API: new containers and new
// scalar nodes all the way down, members in their original order.
JsonNode *deep_copy(JsonNode *node);

void copy_member(JsonObject *, const gchar *name, JsonNode *member, gpointer dst)
{
    json_object_set_member(static_cast<JsonObject *>(dst), name, deep_copy(member));
}

void copy_element(JsonArray *, guint, JsonNode *element, gpointer dst)
{
    json_array_add_element(static_cast<JsonArray *>(dst), deep_copy(element));
}

JsonNode *deep_copy(JsonNode *node)
{
    JsonNode *out = json_node_alloc();
    switch (json_node_get_node_type(node)) {
    case JSON_NODE_OBJECT: {
        JsonObject *dst = json_object_new();
        json_object_foreach_member(json_node_get_object(node), copy_member, dst);
        json_node_take_object(json_node_init(out, JSON_NODE_OBJECT), dst);
        return out;
    }
    case JSON_NODE_ARRAY: {
        JsonArray *src = json_node_get_array(node);
        JsonArray *dst = json_array_sized_new(json_array_get_length(src));
        json_array_foreach_element(src, copy_element, dst);
        json_node_take_array(json_node_init(out, JSON_NODE_ARRAY), dst);
        return out;
    }
    case JSON_NODE_NULL:
        return json_node_init_null(out);
    case JSON_NODE_VALUE:
        break;
    }
    GType type = json_node_get_value_type(node);
    if (type == G_TYPE_INT64) return json_node_init_int(out, json_node_get_int(node));
    if (type == G_TYPE_DOUBLE) return json_node_init_double(out, json_node_get_double(node));
    if (type == G_TYPE_BOOLEAN) return json_node_init_boolean(out, json_node_get_boolean(node));
    return json_node_init_string(out, json_node_get_string(node));
}

Doc copy(Doc doc)
{
    return deep_copy(static_cast<JsonNode *>(doc));
}

bool equal(Doc a, Doc b)
{
    return json_node_equal(static_cast<JsonNode *>(a), static_cast<JsonNode *>(b));
}

bool lookup(Doc doc, const char *pointer)
{
    auto step = [](JsonNode *node, const std::string &token) -> JsonNode * {
        if (JSON_NODE_HOLDS_ARRAY(node)) {
            JsonArray *array = json_node_get_array(node);
            std::size_t index;
            if (!bench::pointer_index(token, &index) || index >= json_array_get_length(array))
                return nullptr;
            return json_array_get_element(array, static_cast<guint>(index));
        }
        if (!JSON_NODE_HOLDS_OBJECT(node)) return nullptr;
        return json_object_get_member(json_node_get_object(node), token.c_str());
    };
    return bench::pointer_walk(static_cast<JsonNode *>(doc), pointer, step) != nullptr;
}

}  // namespace

const bench::LibOps bench::jsonglib_ops = {
    "json-glib", parse, file_open, file_parse, file_close, release, dump, copy, equal, lookup,
    "parse: a new JsonParser per document, root stolen; file: json_parser_load_from_stream "
    "on a rewound GFileInputStream; pretty output is NOT sorted (no such option); "
    "copy: bench-written recursive deep copy over the public API (json_node_copy is "
    "shallow); pointer: bench-side walk",
};
