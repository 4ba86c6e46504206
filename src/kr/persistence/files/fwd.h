#pragma once

// Declarations for signatures that pass these classes by pointer or reference.

namespace KrPersistence {
class ArchiveReader;
class ArchiveWriter;
class KrFile;
class KrFileSection;
class KrMagicTag;
}  // namespace KrPersistence
