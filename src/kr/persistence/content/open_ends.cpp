#include "kr/persistence/content/open_ends.h"

#include "kr/content/content_id.h"
#include "kr/extension/extension.h"
#include "kr/persistence/content/internal/kept_content.h"

namespace KrPersistence {

std::vector<std::string> describeOpenEnds(const KrSim::KrExtension& extension) {
    std::vector<std::string> texts;
    const auto* kept = detail::KeptContent::find(extension);
    if (kept == nullptr) return texts;
    for (const auto& each : kept->connections) {
        texts.push_back("the connection from " + each.source.runtimeID.toString() + "." + each.sourceField + " to " +
                        each.sink.runtimeID.toString() + "." + each.sinkField + " cannot be made");
    }
    for (const auto& each : kept->references) {
        texts.push_back("field " + each.fieldPath + " refers to " + each.extension.toString() + ", which is not there");
    }
    if (kept->isAwaitingDefinition) texts.emplace_back("the definition that it is an instance of is not there");
    return texts;
}

}  // namespace KrPersistence
