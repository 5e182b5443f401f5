// Where files of a medium or a setup are looked for: beside the running program.
#ifndef INSTALIB_SETUPFILES_PROGRAM_FOLDER_H
#define INSTALIB_SETUPFILES_PROGRAM_FOLDER_H

#include "instalib/string.h"

// The path's drive and directory with its final separator: "D:\DISK1\SETUP.EXE" gives "D:\DISK1\", "SETUP.EXE" gives
// "". Empty for a path that is longer than Windows' 259 characters.
CString FolderOf(const char* path);

// FolderOf the running program.
CString ProgramFolder();

#endif
