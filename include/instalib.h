// Everything that Instalib exports. Include single headers of instalib/ for single families.
#ifndef INSTALIB_H
#define INSTALIB_H

#include "instalib/array.h"
#include "instalib/combo_box.h"
#include "instalib/command_line.h"
#include "instalib/computer.h"
#include "instalib/current_user.h"
#include "instalib/exception.h"
#include "instalib/export.h"
#include "instalib/file_security.h"
#include "instalib/installed_products.h"
#include "instalib/job_queue.h"
#include "instalib/log.h"
#include "instalib/map.h"
#include "instalib/object.h"
#include "instalib/path.h"
#include "instalib/probes.h"
#include "instalib/product.h"
#include "instalib/product_record.h"
#include "instalib/registry.h"
#include "instalib/scrambling.h"
#include "instalib/service.h"
#include "instalib/settings.h"
#include "instalib/setup_icf.h"
#include "instalib/setup_inf.h"
#include "instalib/string.h"
#include "instalib/system_account.h"
#include "instalib/upgrade.h"
#include "instalib/version.h"
#include "instalib/windows_types.h"

#endif
