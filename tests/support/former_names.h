// The names that some tests still have for the namespaces of this folder.
#pragma once

namespace blackbox {
}
namespace scripted {
}
namespace BlackBox =
    blackbox; // NOLINT(misc-unused-alias-decls,readability-identifier-naming): for other files
namespace Scripted =
    scripted; // NOLINT(misc-unused-alias-decls,readability-identifier-naming): for other files
