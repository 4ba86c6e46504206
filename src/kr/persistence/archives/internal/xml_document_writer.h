#pragma once

#include <vector>

#include "kr/persistence/archives/internal/document_writer.h"

namespace KrPersistence::detail {

class XmlDocumentWriter final : public DocumentWriter {
public:
    explicit XmlDocumentWriter(std::ostream& stream);
    ~XmlDocumentWriter() override;

    void attribute(std::string_view name, std::string_view text, bool isLiteral) override;

private:
    void _beginGroup(std::string_view name) override;
    void _endGroup() override;
    void _beginSequence(std::string_view name) override { _beginGroup(name); }
    void _endSequence() override { _endGroup(); }
    void _text(std::string_view name, std::string_view text) override;
    void _literal(std::string_view name, std::string_view text) override;
    void _beginNumbers(std::string_view name, bool isBlock) override;
    void _endNumbers(bool isEmpty) override;
    void _bytes(std::string_view name, std::string_view base64) override;
    void _finish() override;

    void _open(std::string_view name);
    void _close();

    std::string _elements;             // the open ones, one after the other
    std::vector<std::size_t> _begins;  // where each begins
    bool _isTagOpen{false};            // the last tag is not closed by '>'
    bool _isBlock{false};
};

}  // namespace KrPersistence::detail
