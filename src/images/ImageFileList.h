#pragma once
// CImageFileList: the image files of one folder, and image packages made of them.
//
// Package format: for each file a 528-byte header (its name without folder as wchar_t[260],
// zero-padded, then its size as a 64-bit little-endian integer), one all-zero header as
// terminator, then the files' contents whole, in header order.
//
// A package is input from outside: DeConcatenate checks it completely before it writes a byte
// (plain file names only, sizes within the package, a terminator) and writes only inside the
// target folder.
#include <windows.h>
#include "Export.h"
#include "system/FileList.h"

class VESKON_API CImageFileList : public CFileList
{
public:
    enum
    {
        PACKAGE_NAME_CHARS = 260,
        PACKAGE_HEADER_BYTES = PACKAGE_NAME_CHARS * 2 + 8  // 528
    };

    CImageFileList();
    ~CImageFileList() noexcept;

    // Lists the folder's "*.png", "*.jpg", "*.tif", "*.bmp", "*.gif" files (in that order of
    // specifications, not recursively); returns the count, 0 when the folder does not exist.
    int FindImages(wchar_t* folder);
    // Packs the listed files that exist into `package` (its folder is created when needed).
    // False when the package cannot be written; no partial package is left behind.
    bool Concatenate(wchar_t* package);
    // Unpacks `package` into `folder` (created when needed), replacing existing files. False,
    // with nothing written, for a package that is missing, truncated, without terminator, with
    // sizes past its end or with a name that is not a plain file name.
    bool DeConcatenate(wchar_t* package, wchar_t* folder);
    // Deletes the listed files.
    void CleanUpFiles();
};
