# Vim's grammar of text sources and schemas, from the words that the readers have.
function(varnix_words result file pattern)
  file(STRINGS ${PROJECT_SOURCE_DIR}/${file} lines REGEX "${pattern}")
  list(TRANSFORM lines REPLACE ".*${pattern}.*" "\\1")
  list(JOIN lines " " words)
  set(${result} "${words}" PARENT_SCOPE)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${file})
endfunction()

varnix_words(VARNIX_PROPERTIES schema/words.h "string_view [a-z]+Word = \"([a-z]+)\"")
varnix_words(types dbfile/types.h "^    {[0-9a-zA-Z]+, \"([A-Z0-9]+)\"")
set(VARNIX_TYPES ${types})
configure_file(${PROJECT_SOURCE_DIR}/share/vim/varnix.vim.in ${PROJECT_BINARY_DIR}/varnix.vim @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/varnix.vim
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vim/vimfiles/syntax COMPONENT tools)
install(FILES ${PROJECT_SOURCE_DIR}/share/vim/ftdetect.vim
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vim/vimfiles/ftdetect RENAME varnix.vim COMPONENT tools)
