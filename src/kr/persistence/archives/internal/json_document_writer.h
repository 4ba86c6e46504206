#pragma once

#include <vector>

#include "kr/persistence/archives/internal/document_writer.h"

namespace KrPersistence::detail {

class JsonDocumentWriter final : public DocumentWriter {
public:
    explicit JsonDocumentWriter(std::ostream& stream);
    ~JsonDocumentWriter() override;

    void attribute(std::string_view name, std::string_view text, bool isLiteral) override;

private:
    struct Level {
        bool isSequence{false};
        bool isEmpty{true};
    };

    void _beginGroup(std::string_view name) override;
    void _endGroup() override;
    void _beginSequence(std::string_view name) override;
    void _endSequence() override;
    void _text(std::string_view name, std::string_view text) override;
    void _literal(std::string_view name, std::string_view text) override;
    void _beginNumbers(std::string_view name, bool isBlock) override;
    void _endNumbers(bool isEmpty) override;
    void _bytes(std::string_view name, std::string_view base64) override;
    void _finish() override;

    void _next();
    void _key(std::string_view name);
    void _close(char bracket);
    void _quoted(std::string_view text);

    std::vector<Level> _levels{Level{}};  // the first is the document
    bool _isBlock{false};
};

}  // namespace KrPersistence::detail
