// Real DLLs of Windows, made by a test: bytes for WriteBytes, loadable on both targets, with the version resource it
// wants.
//   WriteBytes(Folder() + "\\A.DLL", BuildModule({.fileVersion = {2, 0, 2600, 2}}));
#ifndef INSTALIB_TESTS_PE_IMAGE_H
#define INSTALIB_TESTS_PE_IMAGE_H

#include "platform/embedded/modules/image.h"

using embedded::BuildModule;
using embedded::BuildVersionResource;
using embedded::ModuleImage;

#endif
