#include "kr/persistence/archives/internal/xml_document_writer.h"

#include <algorithm>

#include "kr/persistence/archives/internal/text_codec.h"

namespace KrPersistence::detail {
namespace {

// The element of members whose name cannot be the name of one.
constexpr std::string_view kOther = "Value";

bool isLetter(char each) {
    return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') || each == '_';
}

/// Colons are allowed by XML, but mean something to many readers, as names that begin with "xml" do.
bool isElementName(std::string_view name) {
    if (name.empty() || !isLetter(name[0])) return false;
    const auto isAllowed = [](char each) {
        return isLetter(each) || (each >= '0' && each <= '9') || each == '.' || each == '-';
    };
    if (!std::all_of(name.begin(), name.end(), isAllowed)) return false;
    const auto isOneOf = [&](std::size_t at, char lower, char upper) { return name[at] == lower || name[at] == upper; };
    return name.size() < 3 || !isOneOf(0, 'x', 'X') || !isOneOf(1, 'm', 'M') || !isOneOf(2, 'l', 'L');
}

}  // namespace

XmlDocumentWriter::XmlDocumentWriter(std::ostream& stream) : DocumentWriter(stream, "XmlOutArchive") {}

XmlDocumentWriter::~XmlDocumentWriter() = default;

void XmlDocumentWriter::attribute(std::string_view name, std::string_view text, bool /*isLiteral*/) {
    if (!_isTagOpen) _refuse("the bookkeeping of an object comes behind its members; give the object a name");
    _out += ' ';
    _out += name;
    _out += "=\"";
    appendEscaped(_out, text, eTextForm::kXmlAttribute);
    _out += '"';
}

void XmlDocumentWriter::_beginGroup(std::string_view name) {
    _open(name);
    _isTagOpen = true;
}

void XmlDocumentWriter::_endGroup() {
    if (!_isTagOpen) _newLine();
    _close();
}

void XmlDocumentWriter::_text(std::string_view name, std::string_view text) {
    _open(name);
    _isTagOpen = text.empty();
    if (!text.empty()) {
        _out += '>';
        appendEscaped(_out, text, eTextForm::kXmlContent);
    }
    _close();
}

void XmlDocumentWriter::_literal(std::string_view name, std::string_view text) {
    _open(name);
    _out += '>';
    _out += text;
    _close();
}

void XmlDocumentWriter::_beginNumbers(std::string_view name, bool isBlock) {
    _open(name);
    _isBlock = isBlock;
    _beforeNext = isBlock ? "\n" + std::string(_indentation(1), ' ') : " ";
    _beforeFirst = isBlock ? '>' + _beforeNext : ">";
}

void XmlDocumentWriter::_endNumbers(bool isEmpty) {
    _isTagOpen = isEmpty;
    if (_isBlock && !isEmpty) _newLine();
    _close();
}

void XmlDocumentWriter::_bytes(std::string_view name, std::string_view base64) {
    if (base64.size() <= kBase64Line) return _text(name, base64);
    _open(name);
    _out += '>';
    for (std::size_t at = 0; at < base64.size(); at += kBase64Line) {
        _newLine();
        _out += ' ';
        _out += base64.substr(at, kBase64Line);
    }
    _newLine();
    _close();
}

void XmlDocumentWriter::_finish() {
    _out += '\n';
}

void XmlDocumentWriter::_open(std::string_view name) {
    if (_isTagOpen) _out += '>';
    _isTagOpen = false;
    if (_depth() > 0) _newLine();
    const bool isElement = isElementName(name);
    _begins.push_back(_elements.size());
    _elements += isElement ? name : kOther;
    _out += '<';
    _out.append(_elements, _begins.back());
    if (isElement) return;
    _out += " name=\"";
    appendEscaped(_out, name, eTextForm::kXmlAttribute);
    _out += '"';
}

void XmlDocumentWriter::_close() {
    if (_isTagOpen) {
        _out += "/>";
    } else {
        _out += "</";
        _out.append(_elements, _begins.back());
        _out += '>';
    }
    _isTagOpen = false;
    _elements.resize(_begins.back());
    _begins.pop_back();
}

}  // namespace KrPersistence::detail
