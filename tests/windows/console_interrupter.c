/*
 * Interrupts a program that asks for a code at this console, and looks whether the console shows again what is typed.
 *
 *     console_interrupter typed|sent COMMAND [WORD...]
 *
 * The interruption is Ctrl+C, which somebody else types, or which all programs at the console get from here, as another
 * program would send it. The words of the command have no blanks. The exit code is 0 when the console has its mode of
 * before, or else tells what failed.
 */
#include <stdio.h>
#include <string.h>
#include <windows.h>

#define LONGEST 30000 /* milliseconds */
#define PAUSE 20      /* milliseconds */
#define LONGEST_COMMAND 1000

enum
{
    echoIsBack,
    wrongUse,
    noStart,
    noQuestion, /* COMMAND did not silence the console */
    notSent,
    noEnd,    /* the interruption did not end COMMAND */
    otherMode /* the console is not as it was before */
};

static BOOL WINAPI Survive(DWORD event)
{
    return event == CTRL_C_EVENT;
}

static DWORD ModeOf(HANDLE console)
{
    DWORD mode = 0;
    GetConsoleMode(console, &mode);
    return mode;
}

static HANDLE Start(int count, char** words)
{
    char line[LONGEST_COMMAND] = "";
    for (int i = 0; i < count; ++i) {
        if (strlen(line) + strlen(words[i]) + 2 > sizeof line) {
            return NULL;
        }
        strcat(line, words[i]);
        strcat(line, " ");
    }
    STARTUPINFOA start = {.cb = sizeof start};
    PROCESS_INFORMATION made;
    return CreateProcessA(NULL, line, NULL, NULL, FALSE, 0, NULL, NULL, &start, &made) ? made.hProcess : NULL;
}

static BOOL BecomesSilent(HANDLE console)
{
    int rounds = LONGEST / PAUSE;
    while ((ModeOf(console) & ENABLE_ECHO_INPUT) != 0 && --rounds > 0) {
        Sleep(PAUSE);
    }
    return rounds > 0;
}

static int Interrupt(HANDLE console, HANDLE program, BOOL isTyped)
{
    if (!BecomesSilent(console)) {
        return noQuestion;
    }
    if (!isTyped && !GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) {
        return notSent;
    }
    return WaitForSingleObject(program, LONGEST) == WAIT_OBJECT_0 ? echoIsBack : noEnd;
}

int main(int count, char** words)
{
    HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    DWORD before = ModeOf(console);
    if (count < 3 || (before & ENABLE_ECHO_INPUT) == 0) {
        return wrongUse;
    }
    SetConsoleCtrlHandler(Survive, TRUE);
    HANDLE program = Start(count - 2, words + 2);
    if (program == NULL) {
        return noStart;
    }
    int result = Interrupt(console, program, strcmp(words[1], "typed") == 0);
    if (result != echoIsBack) {
        TerminateProcess(program, 1);
        return result;
    }
    DWORD after = ModeOf(console);
    printf("mode %#lx before, %#lx after\n", before, after);
    return after == before ? echoIsBack : otherMode;
}
