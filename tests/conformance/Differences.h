#pragma once

/// A fact that Wine answers otherwise than Windows does, and why the simulated machine keeps its answer.
struct Difference {
  const char* fact;
  const char* wine;
  const char* reason;
};

inline constexpr Difference Differences[] = {
    // Documented by Microsoft; Wine leaves it out.
    {"delayed operations: MoveFileExW(path, target, Delay | MOVEFILE_COPY_ALLOWED)", "TRUE", "not together"},
    {"handle for reading: SetFileTime(open, &time, &time, &time)", "TRUE", "needs FILE_WRITE_ATTRIBUTES"},
    {"file: MoveFileExW(t.file, nullptr, 0)", "TRUE", "deletes only with the delay"},
    {"no service: OpenServiceW(manager, longName, SERVICE_START)", "1060", "names have 256 units at most"},
    {"depends on itself: Create(manager, row.entry)", "service", "ERROR_CIRCULAR_DEPENDENCY"},
    {"another's name displayed: Create(manager, row.entry)", "service", "taken as a name is taken too"},
    {"changed program: Config(service)", "C:\\kvnone.exe, , LocalSystem, Kv Name", "tells dependencies"},
    {"changed program: Start(service)", "FALSE 2", "ERROR_SERVICE_DEPENDENCY_DELETED"},
    {"marked service: Start(service)", "FALSE 2", "ERROR_SERVICE_MARKED_FOR_DELETE"},
    {"free mutexes: WaitedFor(twice, 2, TRUE)", "0", "no object twice when all are waited for"},
    {"keys: Created(root, L\"\")", "0, 1", "an empty name opens the key itself, which creates nothing"},
    {"keys: Created(root, nullptr)", "0, 1", "the name must be given"},
    {"times: FileTime(2001, 2, 29)", "126278784000000000", "there is no such day"},
    // Known of Windows, though hardly documented.
    {"program: Config(service)", "C:\\kvnone.exe, , LocalSystem, ", "the name is displayed"},
    {"program: Kept(L\"ImagePath\")", "1, C:\\kvnone.exe|", "the path is kept as REG_EXPAND_SZ"},
    {"driver: Config(service)", "C:\\kvnone.sys, , LocalSystem, ", "\\??\\ in front, no account"},
    {"driver: Kept(L\"ObjectName\")", "1, LocalSystem|", "drivers have no account"},
    {"driver: Start(service)", "FALSE 1114", "the loader's error is passed on, not that of its host process"},
    {"driver in a missing folder: Start(service)", "FALSE 1114", "the same"},
    {"marked service: Kept(L\"DeleteFlag\")", "2", "the mark outlives a restart"},
    {"marked service: Kept(L\"Start\")", "4, 3", "and a marked service does not start with it"},
    {"below a file: Found(row.name)", "none, 123", "opening a file as a folder: ERROR_DIRECTORY"},
    {"folders: Open(folder + L\"\\\\\", R, OPEN_EXISTING)", "5", "3 tells the backslash from a plain folder"},
    {"devices: Control(file)", "FALSE 50", "file systems take such codes for volumes alone"},
    {"file of three bytes: Viewed(mapping, FILE_MAP_READ, 0x10000, 1)", "87", "a view that does not fit: 5"},
    {"view of a closed mapping: DeleteFileW(path)", "TRUE", "mapped files stay: STATUS_CANNOT_DELETE"},
    {"a window that is none: static_cast<DWORD>(MessageBoxW(none, L\"text\", L\"caption\", MB_OK))",
     "4294967295", "Wine has no dialogs at all without a display"},
};
