#include "kr/persistence/archives/internal/json_document_writer.h"

#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/text_codec.h"

namespace KrPersistence::detail {

JsonDocumentWriter::JsonDocumentWriter(std::ostream& stream) : DocumentWriter(stream, "JsonOutArchive") {}

JsonDocumentWriter::~JsonDocumentWriter() = default;

void JsonDocumentWriter::attribute(std::string_view name, std::string_view text, bool isLiteral) {
    _next();
    _out += "\"_";
    _out += name;
    _out += "\": ";
    if (isLiteral) {
        _out += text;
    } else {
        _quoted(text);
    }
}

void JsonDocumentWriter::_beginGroup(std::string_view name) {
    _key(name);
    _out += '{';
    _levels.push_back({false, true});
}

void JsonDocumentWriter::_endGroup() {
    _close('}');
}

void JsonDocumentWriter::_beginSequence(std::string_view name) {
    _key(name);
    _out += '[';
    _levels.push_back({true, true});
}

void JsonDocumentWriter::_endSequence() {
    _close(']');
}

void JsonDocumentWriter::_text(std::string_view name, std::string_view text) {
    _key(name);
    _quoted(text);
}

void JsonDocumentWriter::_literal(std::string_view name, std::string_view text) {
    _key(name);
    _out += text;
}

void JsonDocumentWriter::_beginNumbers(std::string_view name, bool isBlock) {
    _key(name);
    _out += '[';
    _isBlock = isBlock;
    _beforeFirst = isBlock ? "\n" + std::string(_indentation(2), ' ') : "";
    _beforeNext = isBlock ? ',' + _beforeFirst : ", ";
    _aroundOthers = "\"";
}

void JsonDocumentWriter::_endNumbers(bool isEmpty) {
    if (_isBlock && !isEmpty) {
        _newLine();
        _out += ' ';
    }
    _out += ']';
}

void JsonDocumentWriter::_bytes(std::string_view name, std::string_view base64) {
    if (base64.size() <= kBase64Line) return _text(name, base64);
    _key(name);
    _out += '[';
    for (std::size_t at = 0; at < base64.size(); at += kBase64Line) {
        if (at > 0) _out += ',';
        _newLine();
        _out += "  \"";
        _out += base64.substr(at, kBase64Line);
        _out += '"';
    }
    _newLine();
    _out += " ]";
}

void JsonDocumentWriter::_finish() {
    _out += "\n}\n";
}

void JsonDocumentWriter::_next() {
    if (_depth() == 0) _out += '{';
    Level& level = _levels.back();
    if (!level.isEmpty) _out += ',';
    level.isEmpty = false;
    _newLine();
    _out += ' ';
}

void JsonDocumentWriter::_key(std::string_view name) {
    _next();
    if (_levels.back().isSequence) return;
    if (looksLikeBookkeeping(name)) {
        _quoted("_" + std::string(name));
    } else {
        _quoted(name);
    }
    _out += ": ";
}

void JsonDocumentWriter::_close(char bracket) {
    if (!_levels.back().isEmpty) {
        _newLine();
        _out += ' ';
    }
    _out += bracket;
    _levels.pop_back();
}

void JsonDocumentWriter::_quoted(std::string_view text) {
    _out += '"';
    appendEscaped(_out, text, eTextForm::kJsonString);
    _out += '"';
}

}  // namespace KrPersistence::detail
