// SPDX-License-Identifier: MIT
// What a synchronisation keeps in the indexes of a box: the marks of their entries, and the purge that ends
// it.
//
//   the low nibble of an entry's attr       set by                            cleared by
//     1  changed                            a new entry; a write of the card  the partner
//     2  present                            a new entry                       a deletion of the card
//     4  cleared together with 2            a new entry                       a deletion of the card
//     8  the partner's own                  the partner                       the partner
//
// The purge, for each sync index in turn (bit 0x02 of its type in the box's index table):
//
//   every discharged entry    the card dies where it stands: its id becomes 0, then its slot
//   the index                 its file goes, then its name in the box
//
// The name goes last, so that the list of what is to die is there for as long as it is needed. A lost power
// between the two leaves a name without a file, which the next purge takes out.
#pragma once

#include <bxd/index.h>
#include <bxd/sync.h>
