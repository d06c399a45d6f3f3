package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.nio.file.Path;
import java.util.Objects;

/**
 * Loads {@code libquen-wbkit.so}. Nobody has to call it where the library is in the application or in a folder of
 * {@code java.library.path}: the first use of a class of this package loads it from there.
 *
 * <p>A failure is an {@link UnsatisfiedLinkError} whose message names the ABI, the places that were searched, the
 * missing file, and what to do. It is final, unless the load hook of another library had initialised {@link WbkitAndr}:
 * the virtual machine does not look at a class again that failed once. After such a hook that class is there without
 * its natives, so whoever calls those directly calls {@link #load()} first.
 *
 * <p>These methods, and the natives, may be called at any time by any thread. An application may also load the library
 * itself, with {@link System#load} or {@link System#loadLibrary}, but it must have done so before another thread uses
 * this package for the first time: the one holds the library and waits for the class {@link WbkitAndr}, the other holds
 * that class and waits for the library, or does not find it.
 */
public final class WbkitLoader {
    private static final byte[] NOTHING = {};

    private static volatile String chosenFile;
    private static volatile String failure;

    private WbkitLoader() {}

    /**
     * Loads the library, if that has not been done yet.
     *
     * @throws UnsatisfiedLinkError if it cannot be loaded
     */
    public static void load() {
        try {
            // The class before the library, as for whoever begins with a native: threads that took them in the other
            // order would wait for these, or find the class without its natives.
            Class.forName(WbkitAndr.class.getName(), true, WbkitAndr.class.getClassLoader());
            loadUnlessBound(); // a load hook that initialised the class may have been another library's, or have failed
        } catch (ClassNotFoundException e) {
            throw new AssertionError(e); // it is there
        } catch (LinkageError e) {
            throw failure == null || failure.equals(e.getMessage()) ? e : error(failure, e);
        }
    }

    /**
     * Loads the library from this file, on a desktop, if none has been loaded yet. What it needs beside it is searched
     * in the same folder. Android has {@link Path} since API level 26: below, this method cannot be called, nor the
     * methods of this class be listed by reflection.
     *
     * @param file the library
     * @throws UnsatisfiedLinkError if it cannot be loaded
     */
    public static void load(@NonNull Path file) {
        Objects.requireNonNull(file, "file");
        chosenFile = file.toAbsolutePath().toString();
        load();
    }

    /** For the initialiser of the class whose methods the library binds. */
    static void loadForNatives() {
        if (!aLoadHookIsAsking()) {
            loadUnlessBound();
        }
    }

    private static void loadUnlessBound() {
        if (nativesAreBound()) {
            return;
        }
        String file = chosenFile;
        try {
            if (file == null) {
                System.loadLibrary("quen-wbkit");
            } else {
                System.load(file);
            }
        } catch (LinkageError e) {
            failure = LoadFailure.describe(e, file == null ? "libquen-wbkit.so" : file, "WbkitLoader.load(Path)");
            throw error(failure, e);
        }
    }

    private static boolean nativesAreBound() {
        try {
            WbkitAndr.hmac(NOTHING, NOTHING);
            return true;
        } catch (LinkageError e) { // also if a shrinker has removed the method
            return false;
        }
    }

    /**
     * An application may load the library itself, from where it likes. Its load hook looks the class up, whose
     * initialiser then runs before the natives are bound, and must not fail because there is no other copy. A hook has
     * no frame of its own: the initialiser stands on the virtual machine's native that loads. Where other code stands
     * in between, it is that of another library's hook, and uses ours.
     */
    private static boolean aLoadHookIsAsking() {
        boolean belowInitialiser = false;
        for (StackTraceElement frame : new Throwable().getStackTrace()) {
            if (frame.getClassName().equals(WbkitAndr.class.getName())) {
                belowInitialiser = true;
            } else if (belowInitialiser) {
                return frame.isNativeMethod() && frame.getMethodName().matches("(nativeL|l)oad.*");
            }
        }
        return false;
    }

    private static UnsatisfiedLinkError error(String message, LinkageError cause) {
        UnsatisfiedLinkError error = new UnsatisfiedLinkError(message);
        error.initCause(cause);
        return error;
    }
}
