#include "Commands/Release/ReleasePreparation.h"

#include <Support/CaseName.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using Signing = ArchiveExporter::Signing;

const NotarizationCredentials apiKey{NotarizationCredentials::APIKey{"KEY1", "issuer", {}}};
const NotarizationCredentials keychainProfile{NotarizationCredentials::KeychainProfile{"profile"}};

struct EscalationRow {
    const char* name;
    std::optional<Signing> after;
    std::optional<NotarizationCredentials> credentials;
    bool escalates;
};

class ExportEscalation : public testing::TestWithParam<EscalationRow> {};

TEST_P(ExportEscalation, triesTheKeyWhereItCanAdd) {
    const auto signing = escalatedExportSigning(GetParam().after, GetParam().credentials);
    ASSERT_EQ(signing.has_value(), GetParam().escalates);
    if (signing) {
        EXPECT_EQ(std::get<Signing::Automatic>(signing->value).authentication,
                  (ASCAuthenticationKey{"KEY1", "issuer", {}}));
    }
}

INSTANTIATE_TEST_SUITE_P(
    ReleasePreparation, ExportEscalation,
    testing::Values(EscalationRow{"default", std::nullopt, apiKey, true},
                    EscalationRow{"automatic", Signing{Signing::Automatic{}}, apiKey, true},
                    EscalationRow{"automaticWithAKey",
                                  Signing{Signing::Automatic{ASCAuthenticationKey{"KEY0"}}}, apiKey, false},
                    EscalationRow{"manual", Signing{Signing::Manual{.identity = "Me"}}, apiKey, true},
                    EscalationRow{
                        "manualWithProfile",
                        Signing{Signing::Manual{.identity = "Me", .provisioningProfiles = {{"a.b", "P"}}}},
                        apiKey, false},
                    EscalationRow{"noKey", std::nullopt, std::nullopt, false},
                    EscalationRow{"keychainProfile", std::nullopt, keychainProfile, false}),
    test::CaseName());

} // namespace
} // namespace halvo
