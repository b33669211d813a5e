#pragma once

#include "winnt.h"

// kernel32, ntdll types and the structures that go with them. The functions behave as on the simulated
// machine that the calling thread belongs to.

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))
#define INVALID_FILE_SIZE 0xFFFFFFFFu
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED_0 0x80u
#define WAIT_IO_COMPLETION 0xC0u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu

#define EXTENDED_STARTUPINFO_PRESENT 0x00080000u
#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u

#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define MOVEFILE_REPLACE_EXISTING 1u
#define MOVEFILE_COPY_ALLOWED 2u
#define MOVEFILE_DELAY_UNTIL_REBOOT 4u

#define FILE_MAP_COPY 0x0001u
#define FILE_MAP_WRITE 0x0002u
#define FILE_MAP_READ 0x0004u
#define FILE_MAP_EXECUTE 0x0020u

#define LOAD_LIBRARY_SEARCH_APPLICATION_DIR 0x00000200u
#define LOAD_LIBRARY_SEARCH_USER_DIRS 0x00000400u
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800u
#define LOAD_LIBRARY_SEARCH_DEFAULT_DIRS 0x00001000u

#define DRIVE_UNKNOWN 0u
#define DRIVE_NO_ROOT_DIR 1u
#define DRIVE_REMOVABLE 2u
#define DRIVE_FIXED 3u
#define DRIVE_REMOTE 4u
#define DRIVE_CDROM 5u
#define DRIVE_RAMDISK 6u

#define CP_ACP 0u
#define CP_OEMCP 1u
#define CP_UTF8 65001u
#define MB_ERR_INVALID_CHARS 8u
#define MAX_LEADBYTES 12
#define MAX_DEFAULTCHAR 2

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  DWORD Offset;
  DWORD OffsetHigh;
  HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  CHAR cFileName[MAX_PATH];
  CHAR cAlternateFileName[14];
};
using LPWIN32_FIND_DATAA = WIN32_FIND_DATAA*;

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;

struct STARTUPINFOA {
  DWORD cb;
  LPSTR lpReserved;
  LPSTR lpDesktop;
  LPSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
using LPSTARTUPINFOA = STARTUPINFOA*;

struct STARTUPINFOW {
  DWORD cb;
  LPWSTR lpReserved;
  LPWSTR lpDesktop;
  LPWSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;

/// Of the record that EXTENDED_STARTUPINFO_PRESENT announces only the size is of interest.
struct STARTUPINFOEXW {
  STARTUPINFOW StartupInfo;
  LPVOID lpAttributeList;
};

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;

struct CPINFO {
  UINT MaxCharSize;
  BYTE DefaultChar[MAX_DEFAULTCHAR];
  BYTE LeadByte[MAX_LEADBYTES];
};
using LPCPINFO = CPINFO*;

/// On the host an in-process lock; it never reaches the machine.
struct CRITICAL_SECTION {
  void* implementation;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

using PAPCFUNC = void (*)(ULONG_PTR);

static_assert(sizeof(void*) != 8 || sizeof(SECURITY_ATTRIBUTES) == 24);
static_assert(sizeof(void*) != 8 || (sizeof(STARTUPINFOA) == 104 && sizeof(STARTUPINFOW) == 104));
static_assert(sizeof(void*) != 8 || sizeof(PROCESS_INFORMATION) == 24);
static_assert(sizeof(WIN32_FIND_DATAA) == 320 && sizeof(WIN32_FIND_DATAW) == 592);
static_assert(sizeof(SYSTEMTIME) == 16 && sizeof(CPINFO) == 20);

extern "C" {

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD error);
void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);
void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
BOOL WINAPI CloseHandle(HANDLE handle);
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID input, DWORD inputSize, LPVOID output,
                            DWORD outputSize, LPDWORD returned, LPOVERLAPPED overlapped);
DWORD WINAPI GetFileSize(HANDLE file, LPDWORD high);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);
BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess,
                        const FILETIME* lastWrite);
HANDLE WINAPI FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data);
HANDLE WINAPI FindFirstFileW(LPCWSTR name, LPWIN32_FIND_DATAW data);
BOOL WINAPI FindClose(HANDLE find);
DWORD WINAPI GetFileAttributesA(LPCSTR name);
DWORD WINAPI GetFileAttributesW(LPCWSTR name);
BOOL WINAPI SetFileAttributesA(LPCSTR name, DWORD attributes);
BOOL WINAPI SetFileAttributesW(LPCWSTR name, DWORD attributes);
BOOL WINAPI DeleteFileA(LPCSTR name);
BOOL WINAPI DeleteFileW(LPCWSTR name);
BOOL WINAPI MoveFileExW(LPCWSTR source, LPCWSTR target, DWORD flags);
DWORD WINAPI GetFullPathNameW(LPCWSTR name, DWORD room, LPWSTR buffer, LPWSTR* filePart);
BOOL WINAPI GetVolumePathNameW(LPCWSTR name, LPWSTR buffer, DWORD room);
UINT WINAPI GetDriveTypeW(LPCWSTR root);
DWORD WINAPI QueryDosDeviceW(LPCWSTR device, LPWSTR buffer, DWORD room);
BOOL WINAPI AreFileApisANSI();

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCSTR name);
HANDLE WINAPI CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCWSTR name);
LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size);
BOOL WINAPI UnmapViewOfFile(LPCVOID base);

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);
DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD timeout);
DWORD WINAPI WaitForMultipleObjectsEx(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD timeout,
                                      BOOL alertable);
DWORD WINAPI GetTickCount();

BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                           LPCSTR directory, LPSTARTUPINFOA startup, LPPROCESS_INFORMATION information);
BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                           LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);
BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
HANDLE WINAPI GetCurrentProcess();
LPSTR WINAPI GetCommandLineA();
DWORD WINAPI GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD room);
DWORD WINAPI GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD room);

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA version);
BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version);
UINT WINAPI GetSystemDirectoryA(LPSTR buffer, UINT room);
UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT room);
UINT WINAPI GetWindowsDirectoryA(LPSTR buffer, UINT room);
UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT room);
void WINAPI GetSystemTime(LPSYSTEMTIME time);
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME fileTime);

UINT WINAPI GetACP();
UINT WINAPI GetOEMCP();
BOOL WINAPI GetCPInfo(UINT codePage, LPCPINFO information);
int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCCH source, int sourceLength, LPWSTR target,
                               int targetLength);
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWCH source, int sourceLength, LPSTR target,
                               int targetLength, LPCCH defaultCharacter, LPBOOL usedDefault);

HMODULE WINAPI LoadLibraryA(LPCSTR name);
HMODULE WINAPI LoadLibraryW(LPCWSTR name);
HMODULE WINAPI GetModuleHandleA(LPCSTR name);
HMODULE WINAPI GetModuleHandleW(LPCWSTR name);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
BOOL WINAPI FreeLibrary(HMODULE module);

}  // extern "C"

#define CreateFile CreateFileW
#define FindFirstFile FindFirstFileW
#define GetFileAttributes GetFileAttributesW
#define SetFileAttributes SetFileAttributesW
#define DeleteFile DeleteFileW
#define MoveFileEx MoveFileExW
#define GetFullPathName GetFullPathNameW
#define GetVolumePathName GetVolumePathNameW
#define GetDriveType GetDriveTypeW
#define QueryDosDevice QueryDosDeviceW
#define CreateFileMapping CreateFileMappingW
#define CreateMutex CreateMutexW
#define CreateProcess CreateProcessW
#define GetCommandLine GetCommandLineW
#define GetEnvironmentVariable GetEnvironmentVariableW
#define GetVersionEx GetVersionExW
#define GetSystemDirectory GetSystemDirectoryW
#define GetWindowsDirectory GetWindowsDirectoryW
#define LoadLibrary LoadLibraryW
#define GetModuleHandle GetModuleHandleW
