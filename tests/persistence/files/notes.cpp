#include "tests/persistence/files/notes.h"

#include "kr/persistence/files/export_file_section.h"

KR_FILE_SECTION(notes::Notes, "Notes", 3)
KR_FILE_SECTION_IMPLEMENT(notes::Notes)
