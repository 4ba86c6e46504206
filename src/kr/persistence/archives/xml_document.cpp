#include <expat.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document_source.h"

namespace KrPersistence::detail {
namespace {

using eKind = Document::eKind;

/// Fills a document from the parser's events.
class XmlHandler {
public:
    XmlHandler(Document& document, XML_Parser parser, const std::string& bytes)
        : _document(document), _parser(parser), _lines(bytes) {
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, &_onStart, &_onEnd);
        XML_SetCharacterDataHandler(parser, &_onText);
        // Declarations could define entities, which grow and reach outside.
        XML_SetStartDoctypeDeclHandler(parser, &_onDoctype);
        _levels.push_back({_document.add(eKind::kGroup, Document::kNoName, 0, 0, 1), 0, true});
    }

    void close() { _document.close(0); }
    /// Ends the document where the parser has refused it. False when nothing precedes that place.
    bool breakOff(const std::string& reason);
    /// Why the parser was stopped.
    [[nodiscard]] const std::string& problem() const { return _problem; }
    [[nodiscard]] std::exception_ptr exception() const { return _exception; }

private:
    struct Level {
        std::uint32_t node{0};
        std::size_t text{0};  // where the text of the element itself begins
        bool isGroup{false};
    };

    static void XMLCALL _onStart(void* self, const XML_Char* name, const XML_Char** attributes) {
        static_cast<XmlHandler*>(self)->_guarded([&](XmlHandler& handler) { handler._start(name, attributes); });
    }
    static void XMLCALL _onEnd(void* self, const XML_Char* /*name*/) {
        static_cast<XmlHandler*>(self)->_guarded([](XmlHandler& handler) { handler._end(); });
    }
    static void XMLCALL _onText(void* self, const XML_Char* text, int length) {
        static_cast<XmlHandler*>(self)->_guarded(
            [&](XmlHandler& handler) { handler._document.texts.append(text, static_cast<std::size_t>(length)); });
    }
    static void XMLCALL _onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<XmlHandler*>(self)->_stop("a document type is declared");
    }

    /// No exception may pass through the parser.
    template <class Action>
    void _guarded(const Action& action) noexcept {
        if (_isStopped) return;
        try {
            action(*this);
        } catch (...) {
            _exception = std::current_exception();
            _stop("");
        }
    }
    void _stop(const char* problem) {
        _isStopped = true;
        _problem = problem;
        XML_StopParser(_parser, XML_FALSE);
    }

    void _start(const XML_Char* element, const XML_Char** attributes);
    void _end();
    /// Text between the elements of a group has no meaning, but must not be lost either.
    bool _dropBlanks(const Level& level);

    Document& _document;
    XML_Parser _parser;
    LineCounter _lines;
    std::vector<Level> _levels;
    bool _isStopped{false};
    std::string _problem;
    std::exception_ptr _exception;
};

bool XmlHandler::_dropBlanks(const Level& level) {
    std::string& texts = _document.texts;
    if (texts.find_first_not_of(" \t\r\n", level.text) != std::string::npos) {
        _stop("an element has both text and elements");
        return false;
    }
    texts.resize(level.text);
    return true;
}

void XmlHandler::_start(const XML_Char* element, const XML_Char** attributes) {
    if (!_dropBlanks(_levels.back())) return;
    _levels.back().isGroup = true;

    std::string_view name = element;
    for (const XML_Char** each = attributes; *each != nullptr; each += 2)
        if (std::string_view(each[0]) == "name") name = each[1];
    const auto line = _lines.at(static_cast<std::size_t>(XML_GetCurrentByteIndex(_parser)));
    Level level{_document.add(eKind::kUntyped, _document.intern(name), 0, 0, line), 0, false};
    for (const XML_Char** each = attributes; *each != nullptr; each += 2) {
        if (!isBookkeeping(each[0])) continue;
        const std::string_view text = each[1];
        _document.add(eKind::kAttribute, _document.intern(each[0]), _document.texts.size(), text.size(), line);
        _document.texts += text;
        level.isGroup = true;
    }
    level.text = _document.texts.size();
    _levels.push_back(level);
}

void XmlHandler::_end() {
    const Level level = _levels.back();
    Document::Node& node = _document.node(level.node);
    if (level.isGroup) {
        if (!_dropBlanks(level)) return;
        _document.setKind(node, eKind::kGroup);
    } else {
        node.offset = static_cast<std::uint32_t>(level.text);
        node.length = static_cast<std::uint32_t>(_document.texts.size() - level.text);
    }
    _document.close(level.node);
    _levels.pop_back();
    _levels.back().text = _document.texts.size();
}

bool XmlHandler::breakOff(const std::string& reason) {
    // An element with nothing in it yet may have been about to get a text.
    if (!_levels.back().isGroup) {
        _document.dropLast();
        _levels.pop_back();
    }
    if (_document.size() == 1) return false;
    std::vector<std::uint32_t> open;
    open.reserve(_levels.size());
    for (const Level& level : _levels) {
        _document.setKind(_document.node(level.node), eKind::kGroup);
        open.push_back(level.node);
    }
    _document.breakOff(std::move(open), reason);
    return true;
}

struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

}  // namespace

Document readXml(const DocumentSource& source) {
    const std::string bytes = source.readAll();
    const std::unique_ptr<XML_ParserStruct, FreeParser> parser(XML_ParserCreate(nullptr));
    if (!parser) throw std::bad_alloc();
    Document document;
    XmlHandler handler(document, parser.get(), bytes);
    // In one call: the parser starts a long text again with each part of it.
    constexpr std::size_t kPiece = std::size_t{1} << 30U;
    for (std::size_t at = 0;;) {
        const std::size_t size = std::min(kPiece, bytes.size() - at);
        const bool isLast = at + size == bytes.size();
        const XML_Status status =
            XML_Parse(parser.get(), bytes.data() + at, static_cast<int>(size), isLast ? XML_TRUE : XML_FALSE);
        if (handler.exception()) std::rethrow_exception(handler.exception());
        if (status != XML_STATUS_OK) {
            const std::string problem =
                !handler.problem().empty() ? handler.problem() : XML_ErrorString(XML_GetErrorCode(parser.get()));
            const std::size_t line = XML_GetCurrentLineNumber(parser.get());
            if (source.mayBreakOff && handler.breakOff(source.describe(problem, line))) return document;
            source.refuse(problem, line);
        }
        if (isLast) break;
        at += size;
    }
    handler.close();
    return document;
}

}  // namespace KrPersistence::detail
