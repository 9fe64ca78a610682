// The module in an NSS database of the user.
#pragma once

#include "tools/tavrik-setup/programs/nss_database.h"
#include "tools/tavrik-setup/programs/setting.h"

namespace setup {

class NssSetting : public ToolSetting
{
public:
    NssSetting(std::filesystem::path itsFolder, const setup::Place& place);

    [[nodiscard]] std::filesystem::path Place() const override { return folder; }
    [[nodiscard]] bool IsSet() const override;
    void SetUp(const std::string& program, const Record& record, Plan& plan) const override;
    void Undo(const std::string& program, const Record& record, Plan& plan) const override;

private:
    // The file that the change stands in.
    [[nodiscard]] std::filesystem::path File() const { return folder / nssModuleList; }

    std::filesystem::path folder; // empty for a user without a home
    std::filesystem::path module;
    NssDatabase database;
};

} // namespace setup
