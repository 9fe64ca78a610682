// The codes and passwords on the command line, taken out of it before anything copies them.
#pragma once

#include "softcard/base/secret.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace softcard {

class SecretArguments
{
public:
    // Replaces the value of each option that carries a secret by a number that stands for it, and wipes it,
    // also in the arguments that the program was started with.
    explicit SecretArguments(std::vector<std::string>& arguments);

    // Adds such an option; its name is one of those that the constructor looks for.
    CLI::Option* AddOption(CLI::App& command, const std::string& name, std::optional<SecretText>& value,
                           const std::string& description) const;

private:
    size_t Keep(std::string& argument, size_t start);

    std::shared_ptr<std::vector<SecretText>> values = std::make_shared<std::vector<SecretText>>();
};

} // namespace softcard
