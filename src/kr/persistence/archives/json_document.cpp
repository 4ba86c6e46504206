#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document_source.h"

namespace KrPersistence::detail {
namespace {

using eKind = Document::eKind;

constexpr std::string_view kWords = "true false null";

constexpr unsigned int kFlags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
/// The parser is fastest where it recurses, which takes the stack of the thread: from this level on it iterates.
constexpr std::size_t kMostRecursion = 256;
constexpr unsigned int kIterativeFlags = kFlags | rapidjson::kParseIterativeFlag | rapidjson::kParseStopWhenDoneFlag;

const char* skipBlanks(const char* at) {
    while (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t')
        ++at;
    return at;
}

/// How many digits the next eight bytes begin with.
std::size_t countDigits(const char* at) {
    static_assert(std::endian::native == std::endian::little, "the first byte is the lowest");
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, at, sizeof bytes);
    bytes ^= 0x3030303030303030U;  // digits become 0 to 9; a carry changes nothing before the first other byte
    const std::uint64_t others = (bytes | (bytes + 0x7676767676767676U)) & 0x8080808080808080U;
    return static_cast<std::size_t>(std::countr_zero(others)) / 8;
}

/// Behind one digit or more; null where there is none.
const char* skipDigits(const char* at) {
    std::size_t count = countDigits(at);
    if (count == 0) return nullptr;
    for (at += count; count == 8; at += count)
        count = countDigits(at);
    return at;
}

/// Behind the number, or the text for one, that begins here; null where there is none. A zero ends the document.
const char* skipNumber(const char* at) {
    if (*at == '"') {
        for (const std::string_view each : {R"("NaN")", R"("Infinity")", R"("-Infinity")"})
            if (std::strncmp(at, each.data(), each.size()) == 0) return at + each.size();
        return nullptr;
    }
    at += static_cast<int>(*at == '-');  // no branch: signs cannot be foretold
    at = *at == '0' ? at + 1 : skipDigits(at);
    if (at != nullptr && *at == '.') at = skipDigits(at + 1);
    if (at == nullptr || (*at != 'e' && *at != 'E')) return at;
    ++at;
    return skipDigits(*at == '+' || *at == '-' ? at + 1 : at);
}

/// The bracket behind an array of nothing but numbers; null for others.
const char* findEndOfNumbers(const char* at) {
    at = skipBlanks(at);
    if (*at == ']') return at;
    for (;;) {
        at = skipNumber(skipBlanks(at));
        if (at == nullptr) return nullptr;
        at = skipBlanks(at);
        if (*at == ']') return at;
        if (*at++ != ',') return nullptr;
    }
}

/// Fills a document from the parser's events. Texts are parsed in place.
class JsonHandler {
public:
    JsonHandler(Document& document, rapidjson::InsituStringStream& stream)
        : _document(document), _stream(stream), _lines(document.texts) {}

    [[nodiscard]] const std::string& problem() const { return _problem; }
    std::optional<std::size_t> errorOffset;  // where the parser does not know it
    /// Ends the document where the parser has refused it. False when nothing precedes that place.
    bool breakOff(std::size_t offset, std::string reason);

    // NOLINTBEGIN: the names are the parser's
    bool Null() { return _literal("null"); }
    bool Bool(bool value) { return _literal(value ? "true" : "false"); }
    bool Int(int) { return false; }
    bool Uint(unsigned int) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }
    bool RawNumber(const char* number, rapidjson::SizeType length, bool /*copy*/) {
        return _addText(eKind::kLiteral, number, length);
    }
    bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
        return _addText(eKind::kText, text, length);
    }
    bool Key(const char* name, rapidjson::SizeType length, bool /*copy*/) {
        const std::string_view text(name, length);
        const Bookkeeping bookkeeping = parseBookkeeping(text);
        _isAttribute = bookkeeping.isAttribute;
        _name = _document.intern(bookkeeping.name);
        _lines.at(_offset(name));
        _lines.pass(_offset(name) + length);
        return true;
    }
    bool StartObject() { return _isTooDeep() ? _parseIteratively() : _open(eKind::kGroup); }
    bool EndObject(rapidjson::SizeType /*count*/) { return _close(); }
    bool StartArray();
    bool EndArray(rapidjson::SizeType /*count*/) { return _close(); }
    // NOLINTEND

private:
    std::size_t _offset(const char* at) const { return static_cast<std::size_t>(at - _document.texts.data()); }

    bool _fail(const char* problem) {
        _problem = problem;
        return false;
    }

    /// The parser does not report its position: these words follow the document once more.
    bool _literal(std::string_view word) {
        const auto line = _lines.at(_stream.Tell());
        return _add(eKind::kLiteral, _document.texts.size() - kWords.size() + kWords.find(word), word.size(), line);
    }

    bool _addText(eKind kind, const char* text, std::size_t length) {
        const auto line = _lines.at(_offset(text));
        _lines.pass(_offset(text) + length);
        return _add(kind, _offset(text), length, line);
    }

    bool _add(eKind kind, std::size_t offset, std::size_t length, std::uint32_t line) {
        if (_levels.empty()) return _fail("the document is no object");
        if (_isAttribute) kind = eKind::kAttribute;
        _document.add(kind, _takeName(), offset, length, line);
        return true;
    }

    bool _open(eKind kind) {
        if (_levels.empty() && kind != eKind::kGroup) return _fail("the document is no object");
        if (_isAttribute) return _fail("a bookkeeping name has a value that is not plain");
        _levels.push_back(_document.add(kind, _takeName(), 0, 0, _lines.at(_stream.Tell())));
        return true;
    }

    [[nodiscard]] bool _isTooDeep() const noexcept { return !_isIterating && _levels.size() >= kMostRecursion; }

    /// Has all of the object or array parsed, behind whose opening bracket the parser is; it comes to the closing one
    /// and takes it for that of an empty one.
    bool _parseIteratively() {
        --_stream.src_;
        _isIterating = true;
        rapidjson::Reader reader;
        const rapidjson::ParseResult result = reader.Parse<kIterativeFlags>(_stream, *this);
        _isIterating = false;
        if (result.Code() == rapidjson::kParseErrorTermination) return false;
        if (result.IsError()) {
            errorOffset = result.Offset();
            return _fail(rapidjson::GetParseError_En(result.Code()));
        }
        --_stream.src_;
        _isClosed = true;
        return true;
    }

    bool _close() {
        if (std::exchange(_isClosed, false)) return true;
        _document.close(_levels.back());
        _levels.pop_back();
        return true;
    }

    std::uint32_t _takeName() {
        _isAttribute = false;
        return std::exchange(_name, Document::kNoName);
    }

    Document& _document;
    rapidjson::InsituStringStream& _stream;
    LineCounter _lines;
    std::vector<std::uint32_t> _levels;  // their nodes
    std::uint32_t _name{Document::kNoName};
    bool _isAttribute{false};
    bool _isIterating{false};
    bool _isClosed{false};  // what the parser closes next
    std::string _problem;
};

bool JsonHandler::breakOff(std::size_t offset, std::string reason) {
    if (_document.size() > 0) {
        // A number right before it may have had more digits.
        const auto& last = _document.node(static_cast<std::uint32_t>(_document.size() - 1));
        if (last.length > 0 && std::size_t{last.offset} + last.length == offset) _document.dropLast();
    }
    if (_document.size() == 0) return false;
    _document.breakOff(_levels, std::move(reason));
    return true;
}

bool JsonHandler::StartArray() {
    if (_isTooDeep()) return _parseIteratively();
    // Long arrays of numbers are skipped in one step: the parser continues with their bracket. When it iterates, it has
    // not taken the opening bracket yet.
    const char* const begin = _stream.src_ + static_cast<int>(_isIterating);
    const char* const end = findEndOfNumbers(begin);
    if (!_open(end != nullptr ? eKind::kNumbers : eKind::kSequence)) return false;
    if (end == nullptr) return true;
    Document::Node& list = _document.node(_levels.back());
    list.offset = static_cast<std::uint32_t>(_offset(begin));
    list.length = static_cast<std::uint32_t>(end - begin);
    _stream.src_ += list.length;
    return true;
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

    rapidjson::InsituStringStream stream(texts.data());
    JsonHandler handler(document, stream);
    rapidjson::Reader reader;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
    const auto refuse = [&](const std::string& problem, std::size_t offset) {
        const auto line = lineOf(offset);
        const bool isTaken = source.mayBreakOff && handler.breakOff(offset, source.describe(problem, line));
        if (!isTaken) source.refuse(problem, line);
    };
    if (result.Code() == rapidjson::kParseErrorTermination) {
        refuse(handler.problem(), handler.errorOffset.value_or(result.Offset()));
    } else if (result.IsError()) {
        refuse(rapidjson::GetParseError_En(result.Code()), result.Offset());
    } else if (stream.Tell() != size) {
        refuse("there is text after the document", stream.Tell());  // the parser takes a zero byte for the end
    }
    return document;
}

}  // namespace KrPersistence::detail
