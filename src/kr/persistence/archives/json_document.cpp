#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document_source.h"
#include "kr/persistence/archives/internal/number_list.h"

namespace KrPersistence::detail {
namespace {

using eKind = Document::eKind;

constexpr std::string_view kWords = "true false null";

/// Fills a document from the parser's events. Texts are parsed where they stand.
class JsonHandler {
public:
    explicit JsonHandler(Document& document) : _document(document), _text(document.texts.data()) {}

    [[nodiscard]] const std::string& problem() const { return _problem; }

    // NOLINTBEGIN: the names are the parser's
    bool Null() { return _literal("null"); }
    bool Bool(bool value) { return _literal(value ? "true" : "false"); }
    bool Int(int) { return false; }
    bool Uint(unsigned int) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }
    bool RawNumber(const char* number, rapidjson::SizeType length, bool /*copy*/) {
        const std::size_t offset = _offset(number);
        return _isListOfNumbers() ? _lengthen(offset, offset + length) : _add(eKind::kLiteral, offset, length);
    }
    bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
        const std::size_t offset = _offset(text);
        const std::string_view content(text, length);
        if (_isListOfNumbers() && (content == "NaN" || content == "Infinity" || content == "-Infinity")) {
            _document.texts[offset + length] = '"';  // where the parser has put an end of the text
            return _lengthen(offset - 1, offset + length + 1);
        }
        return _add(eKind::kText, offset, length);
    }
    bool Key(const char* name, rapidjson::SizeType length, bool /*copy*/) {
        const std::string_view text(name, length);
        const Bookkeeping bookkeeping = parseBookkeeping(text);
        _isAttribute = bookkeeping.isAttribute;
        _name = _document.intern(bookkeeping.name);
        return true;
    }
    bool StartObject() { return _open(eKind::kGroup); }
    bool EndObject(rapidjson::SizeType /*count*/) { return _close(); }
    bool StartArray() { return _open(eKind::kNumbers); }
    bool EndArray(rapidjson::SizeType /*count*/) { return _close(); }
    // NOLINTEND

private:
    struct Level {
        std::uint32_t node{0};
        std::size_t numbersEnd{0};
    };

    std::size_t _offset(const char* at) const { return static_cast<std::size_t>(at - _text); }

    bool _isListOfNumbers() const {
        return !_levels.empty() && _document.kind(_document.node(_levels.back().node)) == eKind::kNumbers;
    }

    bool _lengthen(std::size_t begin, std::size_t end) {
        Level& level = _levels.back();
        if (level.numbersEnd == 0) _document.node(level.node).offset = static_cast<std::uint32_t>(begin);
        level.numbersEnd = end;
        return true;
    }

    bool _fail(const char* problem) {
        _problem = problem;
        return false;
    }

    /// The parser does not say where it is: these words stand behind the document once more.
    bool _literal(std::string_view word) {
        return _add(eKind::kLiteral, _document.texts.size() - kWords.size() + kWords.find(word), word.size());
    }

    bool _add(eKind kind, std::size_t offset, std::size_t length) {
        if (_levels.empty()) return _fail("the document is no object");
        _spread();
        if (_isAttribute) kind = eKind::kAttribute;
        _document.add(kind, _takeName(), offset, length);
        return true;
    }

    bool _open(eKind kind) {
        if (_levels.size() >= Document::kDeepestNesting) return _fail("objects and arrays lie too deep");
        if (_levels.empty() && kind != eKind::kGroup) return _fail("the document is no object");
        if (_isAttribute) return _fail("a bookkeeping name stands before something that is no plain value");
        _spread();
        _levels.push_back({_document.add(kind, _takeName(), 0, 0), 0});
        return true;
    }

    bool _close() {
        const Level level = _levels.back();
        Document::Node& node = _document.node(level.node);
        if (_isListOfNumbers() && level.numbersEnd > 0)
            node.length = static_cast<std::uint32_t>(level.numbersEnd - node.offset);
        _document.close(level.node);
        _levels.pop_back();
        return true;
    }

    std::uint32_t _takeName() {
        _isAttribute = false;
        return std::exchange(_name, Document::kNoName);
    }

    /// What has begun as a list of numbers is none: each becomes a node.
    void _spread();

    Document& _document;
    const char* _text;
    std::vector<Level> _levels;
    std::uint32_t _name{Document::kNoName};
    bool _isAttribute{false};
    std::string _problem;
};

void JsonHandler::_spread() {
    if (!_isListOfNumbers()) return;
    Level& level = _levels.back();
    Document::Node& list = _document.node(level.node);
    _document.setKind(list, eKind::kSequence);
    if (level.numbersEnd == 0) return;
    NumberList numbers(std::string_view(_document.texts).substr(list.offset, level.numbersEnd - list.offset));
    list.offset = 0;
    std::string_view number;
    while (numbers.next(number)) {
        const bool isText = number[0] == 'N' || number[0] == 'I' || number[1] == 'I';
        _document.add(isText ? eKind::kText : eKind::kLiteral, Document::kNoName, _offset(number.data()),
                      number.size());
    }
}

}  // namespace

Document readJson(const DocumentSource& source) {
    Document document;
    std::string& texts = document.texts;
    texts = source.readAll();
    const std::size_t size = texts.size();
    const auto lineOf = [&](std::size_t offset) {
        return 1 + static_cast<std::size_t>(
                       std::count(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
    };
    texts += '\0';
    texts += kWords;

    JsonHandler handler(document);
    rapidjson::InsituStringStream stream(texts.data());
    rapidjson::Reader reader;
    // It recurses; the handler ends that at its depth.
    constexpr unsigned int kFlags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
    if (result.Code() == rapidjson::kParseErrorTermination) source.refuse(handler.problem(), lineOf(result.Offset()));
    if (result.IsError()) source.refuse(rapidjson::GetParseError_En(result.Code()), lineOf(result.Offset()));
    // The parser takes a zero byte for the end.
    if (stream.Tell() != size) source.refuse("something stands behind the document", lineOf(stream.Tell()));
    return document;
}

}  // namespace KrPersistence::detail
