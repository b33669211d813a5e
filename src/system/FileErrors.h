#pragma once

#include "system/ErrorTable.h"
#include "system/File.h"
#include "system/WindowsApi.h"

// What the error codes of the file functions become, shared by the sources of `File`.

namespace LCommon::System {

constexpr ErrorRow fileNotFound = On<File::FileNotFoundException>(ERROR_FILE_NOT_FOUND);
constexpr ErrorRow pathNotFound = On<File::PathNotFoundException>(ERROR_PATH_NOT_FOUND);
constexpr ErrorRow fileAccessDenied = On<File::AccessDeniedException>(ERROR_ACCESS_DENIED);
constexpr ErrorRow sharingViolation = On<File::SharingViolationException>(ERROR_SHARING_VIOLATION);
constexpr ErrorRow moreData = On<File::MoreDataException>(ERROR_MORE_DATA);
constexpr ErrorRow notImplemented = On<File::NotSupportedException>(ERROR_CALL_NOT_IMPLEMENTED);

/// Opening and deleting.
constexpr auto openErrors =
    MakeErrorTable<File::Exception>(fileNotFound, pathNotFound, fileAccessDenied, sharingViolation);
/// Attributes and times.
constexpr auto attributeErrors =
    MakeErrorTable<File::Exception>(fileNotFound, pathNotFound, fileAccessDenied);
/// Writing, looking for a name and scheduling for the restart.
constexpr auto accessErrors = MakeErrorTable<File::Exception>(fileAccessDenied);
/// Device requests.
constexpr auto requestErrors = MakeErrorTable<File::Exception>(fileAccessDenied, moreData);
/// The volume of a path.
constexpr auto volumeErrors = MakeErrorTable<File::Exception>(notImplemented);

}  // namespace LCommon::System
