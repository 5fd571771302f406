/* SPDX-License-Identifier: MIT */
/*
 * The plain types of libbxd: integers of fixed width, handles, the card key, the item record, and the
 * byte access with which every file of the system is read and written.
 */
#ifndef BXD_TYPES_H
#define BXD_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define BXD_API __attribute__((visibility("default")))
#else
#define BXD_API
#endif

#ifdef __cplusplus
#define BXD_INLINE inline
#define BXD_NODISCARD [[nodiscard]]
extern "C" {
#else
#define BXD_INLINE static inline
#define BXD_NODISCARD
#endif

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef int8_t i8;
typedef int16_t i16;
typedef int32_t i32;

/*
 * An open box. It comes from _BoxOpen or _BoxOpenRwMode and goes with _BoxClose or _BoxCloseEx; what it
 * points to belongs to the library. Every function that takes one answers BXD_ERR_FAIL (71) to a handle
 * that is null, closed or not a box handle at all, without looking at the memory behind it.
 */
typedef struct BoxRecord** BoxHandle;

/*
 * The key of the card functions: which card, which item.
 *
 *   cardId      1 to 65279 a stored card, 65280 (TMP_SYSTEM_CARD_ID) the card under edit, 65281 to 65519
 *               a system card.
 *   itemNameId  the four characters of the item's tag, for example "ATTR". The case of the first letter
 *               does not count.
 *   patchTag    looked at by one call only: a write of the item "ATTR" to a stored card. Where these four
 *               bytes spell "ATTR" too, the low four bits of the stored attribute stay and only the high
 *               four come from the caller; otherwise all eight bits are written. Zero it if unsure.
 */
typedef struct CardDescriptor {
    u16 cardId;
    u8 itemNameId[4];
    u8 reserved[6];
    u8 patchTag[4];
} CardDescriptor;

/*
 * An item as an application describes it. Arrays of it have a stride of 44 bytes.
 *
 *   itemType     what the item's bytes mean; 12 is a list of categories.
 *   itemSubType  a second type byte, kept and handed out as it is.
 *   itemNameId   the tag: four characters of 0-9, A-Z, a-z.
 *   name         display text of at most 38 bytes; it ends at a terminator or at 38 bytes.
 */
typedef struct ItemRecord {
    u8 itemType;
    u8 itemSubType;
    u8 itemNameId[4];
    char name[38];
} ItemRecord;

/* Bytes of the longest item name, and of the buffer that any name of a file fits in. */
enum { BXD_ITEM_NAME_MAX = 38, BXD_PATH_SIZE = 256 };

/* Card ids with a meaning of their own. */
enum {
    CARD_ID_DEAD = 0,
    CARD_ID_NORMAL_MAX = 65279,
    TMP_SYSTEM_CARD_ID = 65280,
    SYSTEM_CARD_ID_MIN = 65281,
    SYSTEM_CARD_ID_MAX = 65519,
    OFFSET_TABLE_ID = 65520,
    INDEX_TABLE_ID = 65521,
    OFFSET_CARD_ID = 65522,
    EXT_INFO_ID = 65523,
    END_MARK_ID = 65535
};

/*
 * Little-endian integers at any alignment: the byte order of every file, whatever the host's is.
 * GET_* read 2, 3 or 4 bytes at p; PUT_* store the low 2, 3 or 4 bytes of value there.
 */
BXD_INLINE u16 GET_2BYTES(const void* p)
{
    const u8* b = (const u8*)p;
    return (u16)(b[0] | (b[1] << 8));
}

BXD_INLINE u32 GET_3BYTES(const void* p)
{
    const u8* b = (const u8*)p;
    return (u32)b[0] | ((u32)b[1] << 8) | ((u32)b[2] << 16);
}

BXD_INLINE u32 GET_4BYTES(const void* p)
{
    const u8* b = (const u8*)p;
    return (u32)b[0] | ((u32)b[1] << 8) | ((u32)b[2] << 16) | ((u32)b[3] << 24);
}

BXD_INLINE void PUT_2BYTES(void* p, u16 value)
{
    u8* b = (u8*)p;
    b[0] = (u8)value;
    b[1] = (u8)(value >> 8);
}

BXD_INLINE void PUT_3BYTES(void* p, u32 value)
{
    u8* b = (u8*)p;
    b[0] = (u8)value;
    b[1] = (u8)(value >> 8);
    b[2] = (u8)(value >> 16);
}

BXD_INLINE void PUT_4BYTES(void* p, u32 value)
{
    u8* b = (u8*)p;
    b[0] = (u8)value;
    b[1] = (u8)(value >> 8);
    b[2] = (u8)(value >> 16);
    b[3] = (u8)(value >> 24);
}

#ifdef __cplusplus
}
#endif

#endif
