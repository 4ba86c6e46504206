#include "kr/content/i_content_resolver.h"

template class Kr::UpperLayer<KrSim::IContentResolver>;
