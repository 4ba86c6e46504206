#include <string>

#include "tests/persistence/files/notes.h"

// saver PATH TEXT: saves the text a hundred thousand times, in one section. Ends with 1 if that fails.
int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) return 2;
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += arguments[2];
    KrPersistence::KrFile file;
    file.addSection(new notes::Notes(text));
    return file.save(arguments[1]) ? 0 : 1;
}
