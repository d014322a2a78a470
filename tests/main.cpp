// Starts the host on the test's thread, then runs what GoogleTest finds.
#include <gtest/gtest.h>
#include <zan/host.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    zan_start();
    const int result = RUN_ALL_TESTS();
    zan_stop();
    return result;
}
