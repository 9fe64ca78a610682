#include "tools/tavrik-card/secret_arguments.h"

#include "tools/tavrik-card/system/program_start.h"

#include <botan/mem_ops.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace softcard {
namespace {

constexpr std::array<std::string_view, 7> secretNames = {"--bok", "--pin",  "--puk",     "--old",
                                                         "--new", "--code", "--password"};

bool IsSecretName(std::string_view text)
{
    return std::find(secretNames.begin(), secretNames.end(), text) != secretNames.end();
}

} // namespace

SecretArguments::SecretArguments(std::vector<std::string>& arguments)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        std::string& argument = arguments[i];
        const size_t equals = argument.find('=');
        if (equals != std::string::npos && IsSecretName(std::string_view(argument).substr(0, equals))) {
            WipeArgument(i, equals + 1);
            argument += std::to_string(Keep(argument, equals + 1));
        } else if (IsSecretName(argument) && i + 1 < arguments.size()) {
            ++i;
            WipeArgument(i, 0);
            arguments[i] = std::to_string(Keep(arguments[i], 0));
        }
    }
}

// Takes the secret from there on out of the argument. Gives the number that stands for it.
size_t SecretArguments::Keep(std::string& argument, size_t start)
{
    values->push_back(MakeSecretText(std::string_view(argument).substr(start)));
    Botan::secure_scrub_memory(argument.data() + start, argument.size() - start);
    argument.resize(start);
    return values->size() - 1;
}

CLI::Option* SecretArguments::AddOption(CLI::App& command, const std::string& name,
                                        std::optional<SecretText>& value,
                                        const std::string& description) const
{
    if (!IsSecretName(name)) {
        throw std::logic_error(name + " would stay on the command line.");
    }
    const auto take = [values = values, &value](const std::string& number) {
        value = values->at(std::stoul(number));
    };
    return command.add_option_function<std::string>(name, take, description)->type_name("CODE");
}

} // namespace softcard
