// SPDX-License-Identifier: MIT
// The file check: can a box or an index be trusted? It walks what the file says of itself, and the first
// fault ends the run and puts the file into the registry of bad files (storage/bxd_file_errors.h), which
// bars it from being opened. A run that finds nothing takes it out again.
//
//   BXDFileCheckSub
//     the registry        an entry of a check no deeper than this one answers for it
//     _BxdFileOpen        past the registry
//     the first 4 bytes   kind and version, against the name's extension
//     a box               the stamp; BoxFileDiag    (diag/bxd_diag_box.h)
//     an index            IndexFileDiag at level 3  (diag/bxd_diag_index.h)
//
// GetFileExtent stands with the format of the box (box/bxd_box_format.h).
#pragma once

#include <bxd/diag.h>

extern "C" {

// How deep a level goes, as numbers that compare: 3 is 1, 2 is 2, 255 is 255, and all others 0.
u8 ConvLevel(u8 level);
}
