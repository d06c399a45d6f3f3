// What wbtables ends with.
#pragma once

namespace wbtables {

enum ExitCode : int {
    kDone = 0,
    kRefused = 1,        // the manifest, its secrets or a name
    kUsage = 2,          // the command line
    kCompilerFailed = 3, // or could not be run
    kLibraryFailed = 4,  // it did not pass its check, or something could not be written
};

} // namespace wbtables
