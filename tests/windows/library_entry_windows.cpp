// The entry of a plug-in, where the system's loader calls it.
#include <windows.h>

extern "C" int LibraryEntry(void* library, unsigned long reason, void* reserved);

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  return LibraryEntry(library, reason, reserved);
}
