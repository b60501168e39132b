# Refuses a build that would ask for updates in vain, or would not ask although it was told where.

if(NOT "${VELMO_UPDATE_FEED}${VELMO_UPDATE_KEY}" STREQUAL "")
    # No laxer than the program, which would take the address for none: letters, digits and inner hyphens between
    # the host's dots, a port that there can be, and nothing in the rest that has to be encoded. A part of the
    # page is never asked for.
    set(label "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?")
    set(rest "([A-Za-z0-9._~/?&=+,:@!$'()*-]|%[0-9A-Fa-f][0-9A-Fa-f])*")
    if(NOT VELMO_UPDATE_FEED MATCHES "^https://(${label}[.])*${label}(:[0-9]+)?([/?]${rest})?$"
            OR (VELMO_UPDATE_FEED MATCHES "^https://[^/?]*:0*([0-9]+)" AND CMAKE_MATCH_1 GREATER 65535))
        message(FATAL_ERROR "VELMO_UPDATE_FEED must be an address over https, with nobody's name in it")
    endif()
    # 32 bytes in base 64.
    string(LENGTH "${VELMO_UPDATE_KEY}" key_length)
    if(NOT key_length EQUAL 44 OR NOT VELMO_UPDATE_KEY MATCHES "^[A-Za-z0-9+/]+=$")
        message(FATAL_ERROR "VELMO_UPDATE_KEY must be a raw Ed25519 public key in base 64, as scripts/sign-feed says it")
    endif()
endif()
