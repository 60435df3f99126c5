# Writes OUTPUT, a C++ file with the page's files of FOLDER as bytes and the table page_files() of page_files.h.
set(array_text "")
set(table_text "")

function(embed file path type)
  file(READ ${FOLDER}/${file} bytes HEX)
  string(LENGTH "${bytes}" digits)
  math(EXPR length "${digits} / 2")
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(................................................................................)"
    "\\1\n" bytes "${bytes}")
  string(MAKE_C_IDENTIFIER ${file} name)
  set(array_text "${array_text}static const unsigned char ${name}[] = {\n${bytes}};\n" PARENT_SCOPE)
  set(table_text "${table_text}        {\"${path}\", \"${type}\", as_text(${name}), ${length}},\n" PARENT_SCOPE)
endfunction()

embed(index.html "/" "text/html; charset=utf-8")
embed(closer.js "/closer\\\\.js" "text/javascript; charset=utf-8")
embed(page.js "/page\\\\.js" "text/javascript; charset=utf-8")
embed(style.css "/style\\\\.css" "text/css; charset=utf-8")
embed(scenarios.js "/scenarios\\\\.js" "text/javascript; charset=utf-8")
embed(scenarios.css "/scenarios\\\\.css" "text/css; charset=utf-8")

file(WRITE ${OUTPUT} "// Made by embed.cmake from the files of web/.
#include \"simulator/page/page_files.h\"

namespace desk {

${array_text}
static const char *as_text(const unsigned char *bytes) { return reinterpret_cast<const char *>(bytes); }

const std::vector<PageFile> &page_files() {
    static const std::vector<PageFile> files = {
${table_text}    };
    return files;
}

} // namespace desk
")
