// CCommandLineMap: the switches and plain arguments of a command line, split once at construction.
//
// Arguments are separated by blanks alone; tabs and quotation marks have no meaning. With the switch character '-':
//     setup.exe -r:HOST -s -f:C:\dir -nVALUE data
// gives the texts 0 = setup.exe and 1 = data, and the switches r = HOST, s = (empty), f = C:\dir and n = VALUE.
// "-name:value" has a name of any length, "-" alone is ignored, and the last of equal switches counts. "-SMSInstall"
// and "-SMSUninstall", in this letter case and with the hyphen, are switches of these names with the value
// KORVAULT.ICF.
#ifndef INSTALIB_COMMAND_LINE_H
#define INSTALIB_COMMAND_LINE_H

#include "instalib/map.h"

// As a map it holds the switches under their names and the texts under "#0", "#1", ... Names compare byte for byte.
class INSTALIB_API CCommandLineMap : public CMapStringToString {
  public:
    // A null command line gives an empty map. Throws CMemoryException* when memory runs out.
    CCommandLineMap(const char* commandLine, char switchCharacter);
    ~CCommandLineMap() override;

    // Nonzero when the switch is present.
    int GetSwitch(char name) const;
    int GetSwitch(const char* name) const;
    // The same, and its value. When it is absent `value` becomes the default, or stays as it is without one (null).
    int GetSwitch(char name, CString& value, const char* defaultValue) const;
    int GetSwitch(const char* name, CString& value, const char* defaultValue) const;
    // Nonzero and the text of this index, counted from 0; otherwise 0, and `text` stays as it was.
    int GetText(unsigned int index, CString& text) const;

  protected:
    // Enters a token that begins with the switch character.
    void ProcessSwitchToken(const char* token);
    // The key of a text: "#" and its index in decimal.
    void TextKey(CString& key, unsigned int index) const;
};

#endif
