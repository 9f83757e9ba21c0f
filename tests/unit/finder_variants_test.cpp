// The finder in the other ways in which it compiles, against the plain reference: without vectors,
// and with vectors on a processor whose own instruction for their bits is not used.
#include "tests/unit/finder_variants.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "common/result.h"
#include "tests/support/document_pieces.h"
#include "tests/support/exact_block.h"
#include "tests/support/reference_finder.h"

namespace zrp::finder_variants_test {
namespace {

struct Variant {
    const char* name;
    FindVariant* find;
};

class FinderVariant : public testing::TestWithParam<Variant> {};

TEST_P(FinderVariant, FindsAsPlainly) {
    constexpr int kDocuments = 4000;
    constexpr size_t kMostPieces = 60;
    std::mt19937 random(1); // NOLINT: the same documents in each run
    for (int i = 0; i < kDocuments; i++) {
        std::string document = "<a>";
        for (size_t left = random() % kMostPieces; left > 0; left--) {
            document += kDocumentPieces[random() % std::size(kDocumentPieces)];
        }
        document += "</a>";
        SCOPED_TRACE(document);
        const ReferenceMatch expected = reference_find("a", document);
        const ExactBlock reply(document);
        std::string content;
        ASSERT_EQ(GetParam().find("a", reply.begin(), reply.end(), &content),
                  expected.found ? kOk : kNotFound);
        ASSERT_EQ(content, expected.content);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, FinderVariant,
                         testing::Values(Variant{"WithoutVectors", find_without_vectors},
                                         Variant{"WithPortableBits", find_with_portable_bits}),
                         [](const auto& variant) { return std::string(variant.param.name); });

} // namespace
} // namespace zrp::finder_variants_test
