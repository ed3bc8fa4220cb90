# Writes the table of built-in blobs (config 104 and locale 110, type "BIN")
# as a C++ source. Called at build time with OUT, CONFIG and LOCALE.
function(blob_array var file)
  file(READ "${file}" hex HEX)
  string(LENGTH "${hex}" n)
  math(EXPR size "${n} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," body "${hex}")
  string(REGEX REPLACE "((0x..,){24})" "\\1\n  " body "${body}")
  set(${var} "static const uint8_t ${var}[] = {\n  ${body}0};\n" PARENT_SCOPE)
  set(${var}_size ${size} PARENT_SCOPE)
endfunction()

blob_array(config_blob "${CONFIG}")
blob_array(locale_blob "${LOCALE}")
file(WRITE "${OUT}.tmp"
"// Generated: the executable's built-in resources.\n"
"#include \"platform/system/builtin_resources.h\"\n\n"
"namespace {\n${config_blob}${locale_blob}"
"const platform::BuiltinResource kTable[] = {\n"
"  {104, u\"BIN\", config_blob, ${config_blob_size}},\n"
"  {110, u\"BIN\", locale_blob, ${locale_blob_size}},\n"
"};\n}  // namespace\n\n"
"namespace platform {\n"
"const BuiltinResource* BuiltinResources(size_t* count) {\n"
"  *count = sizeof(kTable) / sizeof(kTable[0]);\n"
"  return kTable;\n}\n}  // namespace platform\n")
file(RENAME "${OUT}.tmp" "${OUT}")
