#include "tests/persistence/archives/shapes.h"

KR_ARCHIVE_CLASS_IMPLEMENT(shapes::Circle)
KR_ARCHIVE_CLASS_IMPLEMENT(shapes::Group)
KR_ARCHIVE_CLASS_IMPLEMENT(shapes::Stranger)
