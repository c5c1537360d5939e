// Every test program runs in a sandbox of its own: started without one, it starts itself again inside.
#include "support/log_collection.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

int main(int argc, char **argv)
{
    if (!getenv("LPA_SANDBOX")) {
        log_collection__begin(); // here, so that death tests, which start the program again, add to it
        std::vector<char *> command{const_cast<char *>(LPA_SANDBOX_SCRIPT)};
        command.insert(command.end(), argv, argv + argc + 1);
        execv(LPA_SANDBOX_SCRIPT, command.data());
        perror(LPA_SANDBOX_SCRIPT);
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
