#pragma once

/// A fact that Wine answers otherwise than Windows does, and why the simulated machine keeps its answer.
struct Difference {
  const char* fact;
  /// Null for what Wine ends the program for: it is not asked.
  const char* wine;
  const char* reason;
};

inline constexpr char All[] = "..a|..a.a|.a|.a..a|.a.a|.aaa|a|a..a|a.a|a.a.a|aa|aaa|aaaa| .a|";

inline constexpr Difference Differences[] = {
    // Documented by Microsoft; Wine leaves it out.
    {"delayed operations: MoveFileExW(path, target, Delay | MOVEFILE_COPY_ALLOWED)", "TRUE", "not together"},
    {"handle for reading: SetFileTime(open, &time, &time, &time)", "TRUE", "needs FILE_WRITE_ATTRIBUTES"},
    {"file: MoveFileExW(t.file, nullptr, 0)", "TRUE", "deletes only with the delay"},
    {"no service: OpenServiceW(manager, longName, SERVICE_START)", "1060", "names have 256 units at most"},
    {"depends on itself: Create(manager, row.entry)", "service", "ERROR_CIRCULAR_DEPENDENCY"},
    {"another's display name: Create(manager, row.entry)", "1078", "allowed since Windows 10 1709"},
    {"another's name displayed: Create(manager, row.entry)", "service", "taken as a name is taken too"},
    {"changed program: Config(service)", "C:\\kvnone.exe, , LocalSystem, Kv Name", "tells dependencies"},
    {"changed program: Start(service)", "FALSE 2", "ERROR_SERVICE_DEPENDENCY_DELETED"},
    {"marked service: Start(service)", "FALSE 2", "ERROR_SERVICE_MARKED_FOR_DELETE"},
    {"start-up records: Started(sizeof(STARTUPINFOW), Extended)", "FALSE 2",
     "cb must tell the extended size"},
    {"free mutexes: WaitedFor(twice, 2, TRUE)", "0", "no object twice when all are waited for"},
    {"keys: Created(root, L\"\")", "0, 1", "an empty name opens the key itself, which creates nothing"},
    {"keys: Created(root, nullptr)", "0, 1", "the name must be given"},
    {"times: FileTime(2001, 2, 29)", "126278784000000000", "there is no such day"},
    {"keys: RegCreateKeyExW(root, L\"a\", 0, nullptr, 0, KEY_READ, nullptr, nullptr, nullptr)", nullptr,
     "ERROR_BADKEY where there is no place for the key"},
    // Known of Windows, though hardly documented.
    {"program: Config(service)", "C:\\kvnone.exe, , LocalSystem, ", "the name is displayed"},
    {"program: Kept(L\"ImagePath\")", "1, C:\\kvnone.exe|", "the path is kept as REG_EXPAND_SZ"},
    {"driver: Config(service)", "C:\\kvnone.sys, , LocalSystem, ", "\\??\\ in front, no account"},
    {"driver: Kept(L\"ObjectName\")", "1, LocalSystem|", "drivers have no account"},
    {"driver: Start(service)", "FALSE 1114", "the loader's error is passed on, not that of its host process"},
    {"driver in a missing folder: Start(service)", "FALSE 1114", "the same"},
    {"marked service: Kept(L\"DeleteFlag\")", "2", "the mark outlives a restart"},
    {"marked service: Kept(L\"Start\")", "4, 3", "and a marked service does not start with it"},
    {"no service: (service = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)) != nullptr", "none",
     "success clears the last error"},
    {"this process: WaitedFor(&self, 1, FALSE)", "258", "the kernel takes its constant in single waits only"},
    {"folders: Open(folder, W, CREATE_NEW)", "80", "what is a folder is told before what exists"},
    {"below a file: Found(row.name)", "none, 123", "opening a file as a folder: ERROR_DIRECTORY"},
    {"folders: Open(folder + L\"\\\\\", R, OPEN_EXISTING)", "5", "3 tells the backslash from a plain folder"},
    {"pattern *..*: found(row.pattern)", All, "the star takes all but the last dot"},
    {"pattern * .: found(row.pattern)", All, "as *., which finds what has no dot"},
    {"pattern .*.: found(row.pattern)", "..a|..a.a|.a|.a..a|.a.a|.aaa|", "the same behind a dot"},
    {"pattern a*.: found(row.pattern)", "a|a..a|a.a|a.a.a|aa|aaa|aaaa|", "the same behind a letter"},
    {"pattern ??.: found(row.pattern)", ".a|aa|", "? is no dot, and nothing at the end"},
    {"pattern ?.??.: found(row.pattern)", "a..a|", "the same, and . followed by ? is nothing at the end"},
    {"pattern <: found(row.pattern)", "", "all but the last dot"},
    {"pattern <..<: found(row.pattern)", "", "the same"},
    {"pattern <.<.<: found(row.pattern)", "", "the same"},
    {"devices: Control(file)", "FALSE 50", "file systems take such codes for volumes alone"},
    {"file of three bytes: Viewed(mapping, FILE_MAP_READ, 0x10000, 1)", "87", "a view that does not fit: 5"},
    {"view of a closed mapping: DeleteFileW(path)", "TRUE", "mapped files stay: STATUS_CANNOT_DELETE"},
    {"a window that is none: static_cast<DWORD>(MessageBoxW(none, L\"text\", L\"caption\", MB_OK))",
     "4294967295", "Wine has no dialogs at all without a display"},
};
