#include "SpeechTest.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new SpeechEnvironment);
    return RUN_ALL_TESTS();
}
