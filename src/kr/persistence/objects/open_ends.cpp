#include "kr/persistence/objects/open_ends.h"

#include "kr/content/content_id.h"
#include "kr/data/field_visitor.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/definition_follower.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"

namespace KrPersistence {

using KrData::detail::LinkAccess;

namespace {

using Texts = std::vector<std::string>;

std::string describeChoice(const KrSim::KrContentID& id) {
    return detail::describeChoice(id.getRuntimeID(), id.getRawID());
}

/// Links of proxies whose fields do not exist.
class OpenLinks final : public KrData::FieldVisitor {
public:
    OpenLinks(const KrData::Container& home, Texts& texts) : _home(home), _texts(texts) {}

    void visitField(KrData::FieldBase& field) override {
        if (field.getDataType() != KrData::Types::kProxy) return;
        const auto& proxy = static_cast<const KrData::Proxy&>(field);
        for (std::size_t i = 0; i < proxy.getLinkCount(); ++i) {
            const auto& link = proxy.getLink(i);
            if (link.isValid() || LinkAccess::findField(link, &_home) != nullptr) continue;
            const auto id = link.getContentReference().getContentID();
            _texts.push_back("field " + proxy.getPath() + " links " + link.getFieldPath() +
                             (id.isEmpty() ? "" : " of " + id.toString()) + ", which is not there" +
                             describeChoice(id));
        }
    }

private:
    const KrData::Container& _home;
    Texts& _texts;
};

void describeKept(const detail::KeptContent& kept, const KrSim::KrExtension& extension, Texts& texts) {
    for (const auto& each : kept.connections)
        texts.push_back("the connection " + detail::describeEnds(each, " cannot be made"));
    for (const auto& each : kept.references) {
        texts.push_back("field " + each.fieldPath + " refers to " + each.extension.toString() + ", which is not there" +
                        describeChoice(each.extension));
    }
    const auto* object = detail::asObject(const_cast<KrSim::KrExtension*>(&extension));
    if (!kept.isAwaitingDefinition || object == nullptr) return;
    const auto id = object->getDefinitionReference().getContentID();
    texts.push_back(detail::describeMissingDefinition(*object) + describeChoice(id));
}

}  // namespace

std::vector<std::string> describeOpenEnds(const KrSim::KrExtension& extension) {
    Texts texts;
    if (const auto* kept = detail::KeptContent::find(extension)) describeKept(*kept, extension, texts);
    auto& fields = const_cast<KrSim::KrExtension&>(extension).getFieldsContainer();
    OpenLinks links(fields, texts);
    fields.accept(links);
    return texts;
}

}  // namespace KrPersistence
