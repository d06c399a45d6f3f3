package com.vorlix.quen.wb;

/** A table library is missing, cannot be loaded, or is another one than its name says. */
public final class TableLibraryException extends WbkitException {
    private static final long serialVersionUID = 1;

    TableLibraryException(String message) {
        super(message);
    }

    TableLibraryException(String message, Throwable cause) {
        super(message, cause);
    }
}
