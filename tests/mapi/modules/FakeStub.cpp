// FakeStub.cpp: a DLL that answers as the MAPI stub does when it is asked for an installed component. The loader frees it
// at once, so it speaks with the test through the environment: the path that it gives is LINKWELL_STUB_PATH, and without
// that variable it finds nothing; the arguments of the call go into LINKWELL_STUB_CALL.
#include <windows.h>

#include <string>

extern "C" __declspec(dllexport) BOOL STDAPICALLTYPE
    FGetComponentPath(const char* component, char* qualifier, char* path, DWORD pathSize, BOOL install)
{
    const std::string call = std::string(component) + '|' + qualifier + '|' + std::to_string(pathSize) + '|' +
                             std::to_string(install) + '|' + path;
    SetEnvironmentVariableA("LINKWELL_STUB_CALL", call.c_str());
    return GetEnvironmentVariableA("LINKWELL_STUB_PATH", path, pathSize) != 0 ? TRUE : FALSE;
}
