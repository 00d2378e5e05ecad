"""The declarations generator on the header shapes it must get right."""
import importlib.util
import os

# Loaded from its file: the folder above holds the package's sources, which must not shadow the
# built package (its declarations are generated).
_spec = importlib.util.spec_from_file_location(
    "gen_declarations", os.path.join(os.path.dirname(__file__), "..", "gen_declarations.py"))
gen = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(gen)


def test_pack_pragmas_split_the_declarations():
    text = ("typedef struct { int a; } A;\n#pragma pack(push, 1)\ntypedef struct { char c; int i; } P;\n"
            "#pragma pack(push, 2)\ntypedef struct { char c; int i; } Q;\n#pragma pack(pop)\n"
            "typedef struct { char c; int i; } R;\n#pragma pack(pop)\ntypedef struct { int b; } B;\n")
    chunks = gen.packed_chunks(text)
    assert [(c.split("}")[-1].strip(" ;\n"), p) for c, p in chunks] == [("A", None), ("P", 1), ("Q", 2), ("R", 1), ("B", None)]


def test_static_assertions_become_python_checks():
    text = ('typedef struct { int a; } A; _Static_assert(offsetof(A, a) == 0 && sizeof(A) == 4, "A, layout");\n'
            "int f(void);")
    rest, asserts = gen.take_static_asserts(text)
    assert "_Static_assert" not in rest and "int f(void);" in rest
    assert asserts == [('offsetof(A, a) == 0 && sizeof(A) == 4', "A, layout")]
    assert gen.python_condition(asserts[0][0]) == 'ffi.offsetof("A", "a") == 0  and  ffi.sizeof("A") == 4'


def test_record_fields_take_the_names_of_the_bytes_they_hold(tmp_path):
    (tmp_path / "h.h").write_text('''
/** @brief R. @ref link_reference, m.push. */
typedef struct {
    uint8_t low;    /**< low four bits of byte 0 */
    uint8_t high;   /**< high four bits of byte 0 */
    uint16_t w1;    /**< bytes 1..2 */
    uint16_t a;     /**< bytes 3..4 */
    uint16_t b;     /**< bytes 5..6 */
    float f[2];     /**< bytes 7..14 */
    uint32_t odd;   /**< bytes 15..18 */
} R;
''')
    reference = {"m.push": {0: ("state", "u8", "", ""), 1: ("height_dm", "u16", "height", "dm"),
                            3: ("pair", "i16[2]", "", "0.1 deg"), 7: ("values", "f32[2]", "", ""),
                            15: ("small", "u16", "", "")}}
    fields = gen.records(str(tmp_path), reference)["R"]["fields"]
    # Parts of one byte, and a field whose size is not the message's, are named by neither.
    assert {k: v["c"] for k, v in fields.items()} == {"height_dm": ["w1"], "pair": ["a", "b"], "values": ["f"]}
