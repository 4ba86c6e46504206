// Types as JSON and as a page.

#include "apps/krsim/json_writer.h"
#include "apps/krsim/types_command.h"

namespace krsim {
namespace {

std::string escape(const std::string& text) {
    std::string html;
    for (const char each : toUtf8(text)) {
        switch (each) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += each;
        }
    }
    return html;
}

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Types</title>
<style>
:root { color-scheme: light dark; --line: #ccc; --faint: #666; --warn: #a40000; }
@media (prefers-color-scheme: dark) { :root { --line: #444; --faint: #aaa; --warn: #ff8a80; } }
body { font: 1rem/1.5 system-ui, sans-serif; max-width: 75rem; margin: 2rem auto; padding: 0 1rem; }
h2 { margin: 2rem 0 0; }
p { margin: 0.2rem 0 0.5rem; color: var(--faint); }
p.problem { color: var(--warn); }
div { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; vertical-align: top; padding: 0.25rem 0.75rem 0.25rem 0; border-bottom: 1px solid var(--line); }
</style>
</head>
<body>
<h1>Types</h1>
)";

std::string formatRow(const DescribedField& field) {
    std::string row = "<tr>";
    for (const auto* each :
         {&field.name, &field.role, &field.type, &field.unit, &field.range, &field.value, &field.description})
        row += "<td>" + escape(*each) + "</td>";
    return row + "</tr>\n";
}

std::string formatSection(const DescribedType& type) {
    std::string html = "<h2 id=\"" + escape(type.id) + "\">" + escape(type.category + "." + type.name) + "</h2>\n<p>" +
                       escape(type.kind) + ", " + (type.plugin.empty() ? "library" : escape("plug-in " + type.plugin)) +
                       ", <code>" + escape(type.id) + "</code></p>\n";
    if (!type.problem.empty()) html += "<p class=\"problem\">" + escape(type.problem) + "</p>\n";
    if (type.fields.empty()) return html;
    html +=
        "<div><table>\n<tr><th>Field</th><th>Role</th><th>Type</th><th>Unit</th><th>Range</th><th>Default</th>"
        "<th>Description</th></tr>\n";
    for (const auto& each : type.fields)
        html += formatRow(each);
    return html + "</table></div>\n";
}

void writeField(JsonWriter& writer, const DescribedField& field) {
    writer.StartObject();
    writeText(writer, "name", field.name);
    writeText(writer, "role", field.role);
    writeText(writer, "type", field.type);
    writeText(writer, "unit", field.unit);
    writeText(writer, "range", field.range);
    writeText(writer, "default", field.value);
    writeText(writer, "description", field.description);
    writer.EndObject();
}

void writeType(JsonWriter& writer, const DescribedType& type) {
    writer.StartObject();
    writeText(writer, "category", type.category);
    writeText(writer, "name", type.name);
    writeText(writer, "id", type.id);
    writeText(writer, "kind", type.kind);
    writeText(writer, "plugin", type.plugin);
    writeText(writer, "problem", type.problem);
    writer.Key("fields");
    writer.StartArray();
    for (const auto& each : type.fields)
        writeField(writer, each);
    writer.EndArray();
    writer.EndObject();
}

}  // namespace

std::string formatTypesAsJson(const DescribedTypes& types) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("types");
    writer.StartArray();
    for (const auto& each : types.types)
        writeType(writer, each);
    writer.EndArray();
    writeTexts(writer, "problems", types.problems);
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

std::string formatTypesAsHtml(const DescribedTypes& types) {
    std::string html = kHead;
    for (const auto& each : types.problems)
        html += "<p class=\"problem\">" + escape(each) + "</p>\n";
    html += "<ul>\n";
    for (const auto& each : types.types)
        html += "<li><a href=\"#" + escape(each.id) + "\">" + escape(each.category + "." + each.name) + "</a></li>\n";
    html += "</ul>\n";
    for (const auto& each : types.types)
        html += formatSection(each);
    return html + "</body>\n</html>\n";
}

}  // namespace krsim
