# orvx_flags(TARGET): the warning and hardening flags of all our own code.
function(orvx_flags target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -fstack-protector-strong)
    if(ORVX_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # Fortified functions hide errors from the sanitizers, and need optimisation.
    if(NOT ORVX_SANITIZE)
        target_compile_options(${target} PRIVATE
            $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    endif()
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
endfunction()

if(ORVX_SANITIZE)
    add_compile_options(-fsanitize=${ORVX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${ORVX_SANITIZE})
endif()
