/* SPDX-License-Identifier: MIT */
/*
 * libbxd, a card-file database engine. This header takes in the whole interface.
 *
 *   status.h  what every function answers
 *   types.h   integers, handles, keys, items
 *   box.h     boxes: their life, their items, their figures
 *   card.h    cards: reading, writing, copying, deleting
 *   index.h   indexes: their life, their records, their entries
 *   condition.h  which cards an index or a search selects
 *   files.h   names, files, the room on the storage, messages
 *   language.h  the language, and the order of texts
 */
#ifndef BXD_BXD_H
#define BXD_BXD_H

#include "box.h"
#include "card.h"
#include "condition.h"
#include "files.h"
#include "index.h"
#include "language.h"
#include "status.h"
#include "types.h"

#endif
