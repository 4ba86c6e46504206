#include <stdexcept>

#include "kr/extension/data_extension.h"
#include "kr/extension/factory/plugin.h"

namespace {

class Throwing : public KrSim::IExtension {
public:
    explicit Throwing(KrSim::KrExtension* proxy) : IExtension(proxy, 1) { throw std::runtime_error("out of order"); }
};

}  // namespace

#if defined(ZOO_DUPLICATE)
KR_PLUGIN(ZOO_NAME, "1.0",
          KR_EXTENSION(KrSim::KrDataObject<class Stable>, "Animal", "Stable", "5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e40"),
          KR_EXTENSION(KrSim::KrDataExtension<class Mule>, "Animal", "Mule", "{5F0C7B52-0D3E-4A57-9F0E-2B8D9C1A6E41}"))
#elif defined(ZOO_WITHOUT_TYPES)
KR_PLUGIN(ZOO_NAME, "1.0")
#else
KR_PLUGIN(ZOO_NAME, "1.0",
          KR_EXTENSION(KrSim::KrDataExtension<class Horse>, "Animal", "Horse",
                       "{5F0C7B52-0D3E-4A57-9F0E-2B8D9C1A6E41}"),
          KR_EXTENSION(Throwing, "Animal", "Ox", "5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e42"))
#endif
