#include "App.h"

int main(int argc, char** argv) {
    return recognize::RunApp(argc, argv);
}
