// SPDX-License-Identifier: MIT
#include "tools/bxd/check_text.h"

#include <algorithm>
#include <array>

namespace tool {
namespace {

struct Words {
    std::string_view message;
    const char* words;
};

constexpr std::array<Words, 70> kWords = {{
    {"ファイルIDの異常", "the file's identifier cannot be read, or is not one of a box or an index"},
    {"ファイル拡張子とファイルIDが違う",
     "the extension of its name is not that of its kind (box: .box, index: .idx or .tdx)"},
    {"バージョンが違う", "it has a version that this library does not know"},
    {"アプリIDが書けない", "the name of its application cannot be written"},
    {"ボックスファイルのヘッダが読めない", "the header of the box cannot be read"},
    {"ボックスファイルのヘッダが短い", "the file ends within the header of the box"},
    {"ボックスファイルのサイズが獲得できない", "the size of the box file cannot be told"},
    {"ボックスファイルのヘッダに異常なファイルポインタがある",
     "a position in the header of the box leads out of the file or to a wrong place"},
    {"未使用カードIDが異常", "the header's hint for a free card id is out of range"},
    {"項目全体情報領域用ヒープがとれない", "there is not enough memory for the item table"},
    {"項目全体情報領域が読めない", "the item table cannot be read"},
    {"項目全体情報領域が短い", "the file ends within the item table"},
    {"項目全体情報領域の項目長データが異常", "an item has a length that leaves the item table"},
    {"項目全体情報領域の全体長データが異常", "the items do not fill the item table"},
    {"ボックスファイルのカードチェインが異常",
     "the chain of cards is broken: a card does not lead to the next one"},
    {"最大カードIDより大きなカードIDがある", "a card has an id above the highest that the header tells"},
    {"カードデータ長テーブルが壊れている", "the table of lengths in a card is broken"},
    {"ボックスファイルのエンドマーク異常",
     "there is something behind the end of the chain of cards, perhaps cards in use"},
    {"ボックスファイルのエンドマークが読めない", "the end mark of the box cannot be read"},
    {"ボックスファイルのエンドマークがない", "the box has no end mark"},
    {"ボックスファイルのエンドマークがFFFFでない", "the box ends with other bytes than the end mark"},
    {"オフセット情報カードIDが読めない", "the head of the offset card cannot be read"},
    {"オフセット情報カードIDが正しくない", "the position of the offset card leads to something else"},
    {"オフセット情報カードサイズが正しくない", "the size of the offset card does not agree with the header"},
    {"オフセット情報カード領域用ヒープがとれない", "there is not enough memory for the offset card"},
    {"オフセット情報カード領域が読めない", "the offset card cannot be read"},
    {"オフセット情報カード領域が短い", "the file ends within the offset card"},
    {"追加オフセットのファイルポインタが正しくない",
     "the offset card leads to a place that no append table can have"},
    {"追加オフセットのカードIDが読めない", "the head of an append table cannot be read"},
    {"追加オフセットのカードIDが正しくない", "the position of an append table leads to something else"},
    {"最初の追加オフセットチェインが読めない", "the link to the first append table cannot be read"},
    {"最初の追加オフセットチェインがオフセット情報カードと違う",
     "the first append table is not the one that the offset card names"},
    {"デフォルトオフセットテーブル領域用ヒープがとれない", "there is not enough memory for the offset table"},
    {"デフォルトオフセットテーブル領域が読めない", "the offset table cannot be read"},
    {"デフォルトオフセットテーブル領域が短い", "the file ends within the offset table"},
    {"システムカードのオフセットが正しくない", "the offset table leads to a system card that is not there"},
    {"デフォルトオフセットテーブルのカードオフセットが正しくない",
     "the offset table leads to a card that is not there"},
    {"追加オフセットチェインが読めない", "an append table of the chain cannot be read"},
    {"追加オフセットチェインが短い", "the file ends within the head of an append table"},
    {"追加オフセット領域が読めない", "the slots of an append table cannot be read"},
    {"追加オフセット領域が短い", "the file ends within an append table"},
    {"追加オフセットテーブルのカードオフセットが正しくない",
     "an append table leads to a card that is not there"},
    {"カードチェインで数えた通常カード数がオフセットテーブル上と違う",
     "the chain has another number of cards than the tables of their places; a deletion may have been cut "
     "short"},
    {"カードチェインで数えた有効カード数がヘッダ上と違う",
     "the chain has another number of cards in use than the header counts"},
    {"参照インデックス領域用ヒープがとれない", "there is not enough memory for the list of indexes"},
    {"参照インデックス領域が読めない", "the list of indexes cannot be read"},
    {"参照インデックス領域が短い", "the file ends within the list of indexes"},
    {"参照インデックス領域のカードIDが正しくない",
     "the position of the list of indexes leads to something else"},
    {"インデックスファイルのヘッダが読めない", "the header of the index cannot be read"},
    {"インデックスファイルのヘッダが短い", "the file ends within the header of the index"},
    {"インデックスファイルのサイズが獲得できない", "the size of the index file cannot be told"},
    {"カード領域へのファイルポインタが異常", "the header's position of the entries is wrong"},
    {"インデックス情報領域へのファイルポインタが異常", "the header's position of the records is wrong"},
    {"インデックス情報領域用ヒープがとれない", "there is not enough memory for the records of the index"},
    {"インデックス情報領域が読めない", "the records of the index cannot be read"},
    {"インデックス情報領域が短い", "the file ends within the records of the index"},
    {"インデックス情報項目長が異常", "a record leaves the area of the records, or they do not fill it"},
    {"カード数が読めない", "the number of entries cannot be read"},
    {"カード数の領域が短い", "the file ends within the number of entries"},
    {"インデックスファイルのエンドマークが異常",
     "there are bytes behind the entries that could not be cut off"},
    {"インデックスファイルのサイズ異常", "the file is too short for its number of entries"},
    {"インデックスファイルのエンドマークが読めない", "the end mark of the index cannot be read"},
    {"インデックスファイルのエンドマークが短い", "the file ends within the end mark of the index"},
    {"インデックスファイルのエンドマークがFFFFでない", "the index ends with other bytes than the end mark"},
    {"カードIDダブリチェック領域用ヒープがとれない",
     "there is not enough memory to look for cards that are there twice"},
    {"カードIDと属性の領域が読めない", "the entries cannot be read"},
    {"カードIDが異常", "an entry names a card id that no card can have"},
    {"同じカードIDがある", "a card is in the index twice"},
    {"異常重複ビットカードがある", "an entry is hidden in an index that hides none"},
    {"互換性のない言語モードかソートバージョン",
     "the index was sorted for another language or another order of texts: sort it anew"},
}};

}  // namespace

std::string PlainMessage(std::string_view message)
{
    message = message.substr(0, message.find_first_of("%\n"));
    while (!message.empty() && message.back() == ' ') { message.remove_suffix(1); }
    return std::string(message);
}

std::string Explanation(std::string_view message)
{
    const std::string plain = PlainMessage(message);
    const auto* found =
        std::find_if(kWords.begin(), kWords.end(), [&](const Words& one) { return one.message == plain; });
    return found == kWords.end() ? "" : found->words;
}

}  // namespace tool
