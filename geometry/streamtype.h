// Type tags for the tagged text form: the tag enumeration, the name table,
// lookup by name, and mtype_reader, a value of a type named in the text.
#pragma once

#include "geometry/color.h"
#include "geometry/geotypes.h"

#include <cstdint>
#include <istream>
#include <ostream>

namespace geokit {

// Values are fixed; 7 and 8 have no name on purpose and cannot be tagged.
enum e_mtype_t : std::uint32_t {
    mt_float = 0,
    mt_pos3 = 1,
    mt_dir3 = 2,
    mt_pos2 = 3,
    mt_dir2 = 4,
    mt_pos2l = 5,
    mt_dir2l = 6,
    mt_pos2ul = 7,
    mt_dir2ul = 8,
    mt_qua = 9,
    mt_rot3 = 10,
    mt_pst3w = 11,
    mt_plr3 = 12,
    mt_ang3 = 13,
    mt_rev3 = 14,
    mt_srt3 = 15,
    mt_irt3 = 16,
    mt_vec3w = 17,
    mt_col3 = 18,
    mt_col3a = 19,
    mt_txc1 = 20,
    mt_txc2 = 21,
    mt_txc2q = 22,
    mt_txc3 = 23,
    mt_txc3q = 24,
    mt_mtx3w = 25,
    mt_box2 = 26,
    mt_box3 = 27,
    mt_dim2 = 28,
    mt_dim3 = 29,
    mt_col3aub = 30,
    mt_col3ub = 31,
    mt_col1aub = 32,
    mt_col1ub = 33,
    mt_surface = 34,
    mt_line2d = 35,
    mt_line3d = 36,
    mt_projection = 37,
    mt_none = 38,
};

struct mtype_name_t {
    e_mtype_t type;
    const char* name;
};

// No rows for 7 and 8, so from the eighth row on a row's position is not its
// value: lookups by name use the stored value, the name-by-value writer the position.
inline constexpr mtype_name_t mtype_table[] = {
    {mt_float, "float"},     {mt_pos3, "pos3"},       {mt_dir3, "dir3"},
    {mt_pos2, "pos2"},       {mt_dir2, "dir2"},       {mt_pos2l, "pos2l"},
    {mt_dir2l, "dir2l"},     {mt_qua, "qua"},         {mt_rot3, "rot3"},
    {mt_pst3w, "pst3w"},     {mt_plr3, "plr3"},       {mt_ang3, "ang3"},
    {mt_rev3, "rev3"},       {mt_srt3, "srt3"},       {mt_irt3, "irt3"},
    {mt_vec3w, "vec3w"},     {mt_col3, "col3"},       {mt_col3a, "col3a"},
    {mt_txc1, "txc1"},       {mt_txc2, "txc2"},       {mt_txc2q, "txc2q"},
    {mt_txc3, "txc3"},       {mt_txc3q, "txc3q"},     {mt_mtx3w, "mtx3w"},
    {mt_box2, "box2"},       {mt_box3, "box3"},       {mt_dim2, "dim2"},
    {mt_dim3, "dim3"},       {mt_col3aub, "col3aub"}, {mt_col3ub, "col3ub"},
    {mt_col1aub, "col1aub"}, {mt_col1ub, "col1ub"},   {mt_surface, "surface"},
    {mt_line2d, "line2d"},   {mt_line3d, "line3d"},   {mt_projection, "projection"},
    {mt_none, nullptr},
};
static_assert(sizeof(mtype_table) / sizeof(mtype_table[0]) == 37);

// Longest type word read from a stream.
inline constexpr int mtype_word_max = 16;

// Compares on at most 16 characters; no match gives mt_none.
e_mtype_t get_mtype(const char* word);

// A value whose type is named by the tag in front of it.
struct mtype_reader {
    e_mtype_t type;
    union {
        float flt;
        position3_t pos3;
        direction3_t dir3;
        position2_t pos2;
        direction2_t dir2;
        position2l_t pos2l;
        direction2l_t dir2l;
        position2ul_t pos2ul;
        direction2ul_t dir2ul;
        quaternion_t qua;
        rotation3_t rot3;
        posture3w_t pst3w;
        polarpos3_t plr3;
        angles3_t ang3;
        revolution3_t rev3;
        straight3_t srt3;
        inertial3_t irt3;
        vector3w_t vec3w;
        color3_t col3;
        color3a_t col3a;
        texcoord1_t txc1;
        texcoord2_t txc2;
        texcoord2q_t txc2q;
        texcoord3_t txc3;
        texcoord3q_t txc3q;
        matrix3w_t mtx3w;
        box2_t box2;
        box3_t box3;
        dim2_t dim2;
        dim3_t dim3;
        color3aub_t col3aub;
        color3ub_t col3ub;
        color1aub_t col1aub;
        color1ub_t col1ub;
        surface_t surface;
        line2d_t line2d;
        line3d_t line3d;
        projection_t projection;
    };
};

// Name by value, found by table position: only 0 to 6 print their names,
// 7 to 36 print "table error", above 36 "range over" (each with a line end).
std::ostream& operator<<(std::ostream& os, e_mtype_t type);
// Reads a word up to one of "()\t\r\n,"; the delimiter stays in the stream.
std::istream& operator>>(std::istream& is, e_mtype_t& type);

// Writes the value by its tag; box, size, surface and line tags write nothing.
std::ostream& operator<<(std::ostream& os, const mtype_reader& v);
// Reads the type word, then the value of that type; an unknown word skips
// to the next ")".
std::istream& operator>>(std::istream& is, mtype_reader& v);

} // namespace geokit
