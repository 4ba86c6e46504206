#include "apps/krsim/types_command.h"

#include <gmock/gmock.h>

namespace krsim_types_command_test {

using testing::HasSubstr;
using testing::Not;

krsim::DescribedTypes makeTypes() {
    krsim::DescribedType vehicle{.category = "Cars",
                                 .name = "Fast <Car>",
                                 .id = "dd031425-9106-4b42-ba84-1c752e63b2d7",
                                 .kind = "object",
                                 .plugin = "Cars"};
    vehicle.fields.push_back({.name = "Mass",
                              .role = "parameter",
                              .type = "Double",
                              .unit = "kg",
                              .range = "1 kg to 10 kg",
                              .value = "2 kg",
                              .description = "Of \"all\" & sundry."});
    krsim::DescribedType broken{.category = "Cars", .name = "Broken", .id = "2", .kind = "extension"};
    broken.problem = "cannot be made: its constructor threw: no \xFF fuel";
    return {.types = {vehicle, broken}, .problems = {"'Bad.krp' cannot be loaded"}};
}

TEST(KrsimTypesCommand, PrintsALineForEachTypeAndField) {
    EXPECT_EQ(krsim::formatTypes(makeTypes()),
              "Cars.Fast <Car> (object, plug-in Cars, dd031425-9106-4b42-ba84-1c752e63b2d7)\n"
              "  parameter Mass: Double = 2 kg, 1 kg to 10 kg; Of \"all\" & sundry.\n"
              "Cars.Broken (extension, library, 2)\n"
              "  cannot be made: its constructor threw: no \xFF fuel\n");
}

TEST(KrsimTypesCommand, PrintsJson) {
    EXPECT_EQ(krsim::formatTypesAsJson(makeTypes()),
              R"({"types":[{"category":"Cars","name":"Fast <Car>","id":"dd031425-9106-4b42-ba84-1c752e63b2d7",)"
              R"("kind":"object","plugin":"Cars","problem":"","fields":[{"name":"Mass","role":"parameter",)"
              R"("type":"Double","unit":"kg","range":"1 kg to 10 kg","default":"2 kg",)"
              R"("description":"Of \"all\" & sundry."}]},{"category":"Cars","name":"Broken","id":"2",)"
              R"("kind":"extension","plugin":"","problem":"cannot be made: its constructor threw: no ? fuel",)"
              R"("fields":[]}],"problems":["'Bad.krp' cannot be loaded"]})"
              "\n");
}

TEST(KrsimTypesCommand, PrintsAPageThatEscapesTextsAndNeedsNoOtherFile) {
    const auto page = krsim::formatTypesAsHtml(makeTypes());
    EXPECT_THAT(page, HasSubstr("Cars.Fast &lt;Car&gt;</h2>"));
    EXPECT_THAT(page, HasSubstr("<td>Of &quot;all&quot; &amp; sundry.</td>"));
    EXPECT_THAT(page, HasSubstr("no ? fuel</p>"));
    EXPECT_THAT(page, HasSubstr("prefers-color-scheme: dark"));
    for (const char* external : {"http", "src=", "@import", "url("})
        EXPECT_THAT(page, Not(HasSubstr(external)));
}

}  // namespace krsim_types_command_test
