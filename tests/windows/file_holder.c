/*
 * Has a file open that nobody else may rename or remove meanwhile.
 *
 *     file_holder FILE MARK
 *
 * makes the file MARK when it has FILE, and lets it go when somebody has removed MARK.
 */
#include <stdio.h>
#include <windows.h>

int main(int count, char** words)
{
    if (count != 3) {
        return 2;
    }
    HANDLE held = CreateFileA(words[1], GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, 0, NULL);
    FILE* mark = held == INVALID_HANDLE_VALUE ? NULL : fopen(words[2], "w");
    if (mark == NULL) {
        return 1;
    }
    fclose(mark);
    while (GetFileAttributesA(words[2]) != INVALID_FILE_ATTRIBUTES) {
        Sleep(20);
    }
    CloseHandle(held);
    return 0;
}
