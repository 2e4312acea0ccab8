# orvx_flags(TARGET): the warning, hardening and sanitizer flags of all our own code.
function(orvx_flags target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        -fstack-protector-strong
        $<$<AND:$<NOT:$<CONFIG:Debug>>,$<STREQUAL:${ORVX_SANITIZE},>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
    if(ORVX_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
endfunction()

if(ORVX_SANITIZE)
    add_compile_options(-fsanitize=${ORVX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${ORVX_SANITIZE})
endif()
