// A library of something else.
extern "C" __declspec(dllexport) int SomethingElse()
{
    return 0;
}
