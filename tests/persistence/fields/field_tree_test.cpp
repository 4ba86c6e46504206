#include <gtest/gtest.h>

#include "tests/persistence/fields/field_trees.h"

namespace field_tree_test {

using namespace field_trees;  // NOLINT(google-build-using-namespace): what this file is about

#ifdef NDEBUG
constexpr std::uint32_t kTrees = 10'000;
#else
constexpr std::uint32_t kTrees = 1'000;
#endif

template <class Kind>
class FieldTrees : public testing::Test {};
using Kinds = testing::Types<Binary, Xml, Json>;

struct KindNames {
    template <class Kind>
    static std::string GetName(int /*index*/) {
        return Kind::kName;
    }
};
TYPED_TEST_SUITE(FieldTrees, Kinds, KindNames);

// Finds whatever a reader makes different from what was written, or forgets.
TYPED_TEST(FieldTrees, AreByteEqualAfterSaveLoadSave) {
    for (std::uint32_t seed = 1; seed <= kTrees; ++seed) {
        TreeMaker maker(seed);
        const auto tree = maker.make();
        const auto first = saved<TypeParam>(*tree);
        KrPersistence::FieldReadContext context;
        const auto again = loaded<TypeParam>(first, context);
        // References stay null; what they stand for is written in their place.
        ASSERT_EQ(difference(saved<TypeParam>(*again, {context.references}), first), "") << "seed " << seed;
    }
}

}  // namespace field_tree_test
