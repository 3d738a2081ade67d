/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_VARNEL_H
#define VARNEL_VARNEL_H

/**
 * @file
 * Includes every public header of libvarnel_common. platform.h, which declares what the library needs, is not
 * included.
 */

#include "varnel/car2512.h"
#include "varnel/debug_log.h"
#include "varnel/ds3232.h"
#include "varnel/iniparser.h"
#include "varnel/ipmi_relay.h"
#include "varnel/lan_transfer.h"
#include "varnel/logparser.h"
#include "varnel/message.h"
#include "varnel/numeral.h"
#include "varnel/pca9505.h"
#include "varnel/pca9541.h"
#include "varnel/pca9546.h"
#include "varnel/pca9548.h"
#include "varnel/pca9555.h"
#include "varnel/sem_lock.h"
#include "varnel/smbus.h"
#include "varnel/text_log.h"
#include "varnel/xml.h"

#endif
