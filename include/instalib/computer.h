// CComputer: facts about a machine, local or remote, and helpers for directories and files.
//
// A machine is named by its computer name. Texts are 8-bit. Answers are nonzero for yes or success and 0 for no or
// failure, where nothing else is said; a query that fails answers 0 and leaves its buffers alone. Nothing is raised.
#ifndef INSTALIB_COMPUTER_H
#define INSTALIB_COMPUTER_H

#include "instalib/combo_box.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

class INSTALIB_API CComputer {
  public:
    // Asks everything once; the object is a snapshot. Null is the local machine; an empty name is the local machine for
    // the queries, but IsLocal says no.
    CComputer(const char* machine = nullptr);
    CComputer(const CComputer& other);
    CComputer& operator=(const CComputer& other);
    ~CComputer();

    // The machine's name, and its domain or workgroup (empty when it cannot be asked). Valid until the object changes.
    const char* Name() const;
    const char* Domain() const;
    int DomainController() const;  // primary or backup
    int PrimaryDomainController() const;
    int BackupDomainController() const;
    int Server() const;
    int IsLocal() const;

    // Adds to the list the machine's own domain, its primary domain and the domains it trusts, 64 names at most. Null
    // is the local machine. Returns 0, also when the domains cannot be asked (which is said on standard error), or 13
    // when memory runs out. Not for two threads at once: the names stand in storage of the process meanwhile.
    int DisplayTrustedDomains(const WCHAR* machine, CComboBox* comboBox);

    // --- Machines. A null or empty name is the local machine, except in IsLocalMachine. ---

    // The local computer's name; `size` in: the buffer's bytes, out: characters without terminator. Last error as
    // Windows' GetComputerNameA leaves it.
    static int GetComputerNameA(char* buffer, DWORD* size);
    // The machine's domain or workgroup into a buffer of 256 bytes, and its length without terminator.
    static int GetDomain(char* buffer, DWORD* length, const char* machine);
    static int IsPrimaryDomainController(const char* machine);
    static int IsBackupDomainController(const char* machine);
    // Nonzero for null and for the local computer's name in any letter case. An empty name is not the local machine's.
    static int IsLocalMachine(const char* machine);
    // Whether the machine's product type is LANMANNT or SERVERNT. Reads the local registry when the machine's own
    // cannot be reached.
    static int IsServer(const char* machine);
    // The Windows that runs this process, whatever machine is named: its major version, whether that is above 3, and
    // whether it is of the Windows 95 line.
    static DWORD GetNTVersion(const char* machine);
    static int IsNT4xOrLater(const char* machine);
    static int IsWindows95(const char* machine);
    // What HSTOOL.DLL says about this Windows version; 0 without that library or its entry point.
    static int IsWindowsVersionOK(DWORD major, DWORD minor, DWORD build);

    // --- Directories and files ---
    // Paths have less than 260 bytes; an operation refuses a longer one and skips an entry whose path would be longer. A
    // null path is an empty one.

    // Creates every missing directory of the path, and leaves those it made when one fails. `flag` has no effect.
    static int CreateDirectoryA(const char* path, int flag = 0);
    // Removes one empty directory.
    static int RemoveDirectoryA(const char* path);
    // Makes the path the process's current directory.
    static int ChangeDirectory(const char* path);
    // Whether the path is a directory: whether a search in it finds anything.
    static int DirectoryExists(const char* path);
    static int PathExists(const char* path);
    // Whether the directory holds nothing that matches the pattern (null: "*.*") except "." and "..". A directory that
    // is missing is empty; one that cannot be listed is not, and the last error tells why. The pattern may lead into a
    // directory below: "sub\*.dll".
    static int PathEmpty(const char* directory, const char* pattern);
    // Deletes the files of the directory that match, read-only ones too, and leaves directories alone. Always 1. A
    // pattern with a separator matches nothing here and in ChangeFilesAttribute.
    static int DeleteFiles(const char* directory, const char* pattern);
    // Deletes the directory with all below it, read-only files too. What cannot be deleted stays and does not change
    // the result, which is 0 only when a directory below could not be entered because its path is too long. Links to
    // directories are removed, not followed.
    static int DeleteTree(const char* directory);
    // Sets the FILE_ATTRIBUTE_... bits of the files that match, and of those in the directories that match. Always 1.
    static int ChangeFilesAttribute(const char* directory, const char* pattern, DWORD attributes);
    // The DRIVE_... type of the path's drive (3 is a fixed one), as Windows' GetDriveTypeA tells it.
    static UINT GetDriveTypeA(const char* path);
    // The free bytes of the path's drive modulo 2^32, 0 when they cannot be asked: 5 GiB free is 1 GiB here.
    static DWORD DriveFreeSpaceBytes(const char* path);
    // The letter of the first fixed drive, 'Z' without one.
    static char FindFirstHardDrive();

    // --- The product's hidden home share ---

    // Publishes `path` under the product's name with "$", with full access for the account (empty: none; looked up on
    // `accountSystem`, empty: the local machine) and the administrators, and change for the backup operators. One
    // trailing backslash of the path is dropped; what is left has at most 255 bytes, a longer one changes nothing
    // (206). A share that stands with this path in any letter case is left as it is: success. A share whose rights
    // could not be put together stays without any, and 0 is returned. When only giving the share these rights fails,
    // the result is nonzero all the same and the last error tells why; it is 0 when that succeeded too.
    static int CreateKorvaultHomeShare(const char* path, const char* accountSystem, const char* account);
    // Removes that share. Returns the network's status: 0 on success, otherwise a Windows error code.
    static int DeleteKorvaultHomeShare();

  private:
    CString m_sName;
    CString m_sDomain;
    int m_nPrimaryDomainController;
    int m_nBackupDomainController;
    int m_nServer;
    int m_nLocal;
};

#endif
