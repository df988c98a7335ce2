#include "cli/program.h"

int main(int argc, char** argv)
{
    return zemhost::runProgram(argc, argv);
}
