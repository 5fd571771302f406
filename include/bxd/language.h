/* SPDX-License-Identifier: MIT */
/*
 * The language of texts. It is set by the application, once at its start and before the first box is opened:
 *
 *     BxdSetLanguage("ja");
 *
 * Setting it sorts nothing anew: an index keeps the language that it was made in, and the file check tells
 * an index of another one, so that it can be built anew.
 */
#ifndef BXD_LANGUAGE_H
#define BXD_LANGUAGE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- language -------------------------------------------------------------------------------------- */

/* Bytes of a buffer that any language name fits in with its terminator. */
enum { BXD_LANGUAGE_SIZE = 8 };

/*
 * Sets the language of the process. name ends with a terminator; its first 4 characters are kept. An empty
 * name makes the language unset, as it is at the start. Texts are in the order of the Japanese tables,
 * which hold Latin text too, whatever the name.
 */
BXD_API void BxdSetLanguage(const char* name);

/*
 * The name of the language as it was set, with a terminator, to the BXD_LANGUAGE_SIZE (8) bytes at out;
 * "en" where none has been set.
 */
BXD_API void BxdGetLanguage(char* out);

/*
 * 1 if name is "ja", in capitals or not, and the language of the process is too, or if neither is; else 0.
 * So all languages but Japanese match each other, and match one that is unset.
 */
BXD_API int BxdIsLanguageMatch(const char* name);

#ifdef __cplusplus
}
#endif

#endif
