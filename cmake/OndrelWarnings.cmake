# Common compile options for every target of the project: ondrel_apply_options(target).
function(ondrel_apply_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wpedantic)
  if(ONDREL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(ONDREL_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
