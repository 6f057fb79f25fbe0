// The folders the host works with: where the program lives, where user data goes, and where
// plug-in modules are looked for, in search order.
#pragma once

#include <string>
#include <vector>

namespace Quillmark::platform
{

/** The full path of the running executable. */
std::string executablePath();
std::string executableFolder();

/** "$XDG_CONFIG_HOME/Qel3PluginTestHost", default "~/.config/Qel3PluginTestHost": where user
    data goes unless the application is given another folder. */
std::string userDataFolder();

/** "$TMPDIR", default "/tmp". */
std::string temporaryFolder();

/** The system's plug-in folders: each entry of QEL3_PATH in order, then ~/.qel3,
    /usr/local/lib/qel3 and /usr/lib/qel3. */
std::vector<std::string> systemModuleFolders();
/** The folder "QEL3" beside the executable. */
std::string programModuleFolder();
/** The folder "Components" beside the executable. */
std::string programComponentsFolder();

} // namespace Quillmark::platform
