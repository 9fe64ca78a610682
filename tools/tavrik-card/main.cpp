// tavrik-card: makes software cards and handles them as a person handles real ones.
//
// Exit codes: 0 done, 1 the store or the output cannot be read or written, 2 bad arguments, 3 unknown card, 4
// name taken, 5 card in a reader, 6 reader occupied, 7 card not inserted, 8 wrong code, 9 code locked or not
// initialised, 10 nothing to import, 11 unknown reader, 12 the card is in use. Every failure is told in one
// sentence on the standard error.
#include "tools/tavrik-card/command.h"
#include "tools/tavrik-card/system/program_start.h"

int main(int argumentCount, char** argumentValues)
{
    return softcard::RunCommand([=] { return softcard::StartProgram(argumentCount, argumentValues); });
}
