package com.vorlix.quen.wb;

import java.security.GeneralSecurityException;

/** A refusal of the library. The message tells what to do about it and holds no secret. */
public class WbkitException extends GeneralSecurityException {
    private static final long serialVersionUID = 1;

    WbkitException(String message) {
        super(message);
    }

    WbkitException(String message, Throwable cause) {
        super(message, cause);
    }
}
