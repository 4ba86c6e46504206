#pragma once

#include <functional>
#include <string>
#include <utility>

#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/named_file_section.h"

// A section as plug-ins have them; it tells what is done with it.
namespace notes {

class Notes final : public KrPersistence::NamedFileSection {
    KR_BASE_CLASS(Notes, KrPersistence::NamedFileSection)

public:
    /// Hears "<what> <text>" of all sections; may throw.
    using Listener = std::function<void(const std::string& what, Notes& section)>;

    using KrFileSection::_reportProgress;

    explicit Notes(std::string newText = {}) : text(std::move(newText)) { ++living(); }
    ~Notes() override { --living(); }

    void _write(KrPersistence::ArchiveWriter& writer) const override {
        tell("write", const_cast<Notes&>(*this));
        writer.write("Text", text);
    }
    void _read(KrPersistence::ArchiveReader& reader, unsigned int version) override {
        readVersion = version;
        reader.read("Text", text);
        tell("read", *this);
    }
    void prepareBeforeSaving(KrPersistence::KrFile* file, int flags) override {
        tell("prepare", *this);
        NamedFileSection::prepareBeforeSaving(file, flags);
    }
    void declareReferencableObjects(KrPersistence::KrFile* file) override { file->registerReferencableObject(this); }
    void postLoad(KrPersistence::KrFile*) override { tell("postLoad", *this); }

    static int& living() {
        static int count = 0;
        return count;
    }
    static Listener& listener() {
        static Listener listener;
        return listener;
    }

    std::string text;
    unsigned int readVersion{0};

private:
    static void tell(const std::string& what, Notes& section) {
        if (listener()) listener()(what, section);
    }
};

}  // namespace notes
