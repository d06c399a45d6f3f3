package com.vorlix.quen.wb;

import java.io.File;
import java.util.Locale;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Why a library could not be loaded: what the platforms' loaders say, and what to do about it. */
enum LoadFailure {
    OTHER_LOADER("already (loaded in another classloader|opened by ClassLoader)",
            "Another class loader of this process has loaded the library. Have one that all parts share load these"
            + " classes."),
    OTHER_ABI("wrong ELF class|is \\d\\d-bit instead of|unexpected e_machine|Possible cause",
            "The file is for another ABI. Put the one of this ABI in its place; Android takes it from lib/ABI of the"
            + " application."),
    PAGE_SIZE("page-aligned|program alignment|page size",
            "The file's segments are aligned to smaller pages than this system has. Build it with"
            + " -Wl,-z,max-page-size=16384."),
    SYMBOL("undefined symbol: (\\S+)|cannot locate symbol \"([^\"]+)\"",
            "The system lacks a function that the library needs. Use a newer system, or build for this one."),
    NOT_A_LIBRARY("invalid ELF header|bad ELF|section header|file too short|too small to be an ELF|file data",
            "The file is damaged or is no library. Copy it again."),
    SHRUNK("NoSuchMethodError|NoClassDefFoundError|ClassNotFoundException|JNI_ERR",
            "The library does not find the natives that it binds. Tell the shrinker to keep"
            + " com.vorlix.quen.wb.WbkitAndr and WbkitCms with all their native methods under their names."),
    MISSING_DEPENDENCY("([^\\s:/]+\\.so[.0-9]*): cannot open shared object|library \"([^\"]+)\" not found",
            "Put the missing file beside the library that needs it."),
    MISSING("no \\S+ in java\\.library\\.path|couldn't find|Can't load library|not found|No such file",
            "Put the file into one of these folders, for Android into lib/ABI of the application; on a desktop also"
            + " name folders with -Djava.library.path, or the file with %s."),
    OTHER("", "See what the loader said.");

    private final Pattern pattern;
    private final String advice;

    LoadFailure(String pattern, String advice) {
        this.pattern = Pattern.compile(pattern);
        this.advice = advice;
    }

    /**
     * Finds the reason.
     *
     * @param file what was to be loaded, a path or a bare name
     */
    static LoadFailure of(LinkageError error, String file) {
        for (LoadFailure failure : values()) {
            if (failure.pattern.matcher(error.toString()).find()) {
                // Some loaders say the same of the file itself.
                boolean itself = failure == MISSING_DEPENDENCY && fileName(failure.named(error)).equals(fileName(file));
                return itself ? MISSING : failure;
            }
        }
        return OTHER;
    }

    /**
     * Tells everything about a failure.
     *
     * @param file what was to be loaded, a path or a bare name
     * @param method what an application calls to load the file from elsewhere
     */
    static String describe(LinkageError error, String file, String method) {
        LoadFailure failure = of(error, file);
        boolean bareName = file.indexOf(File.separatorChar) < 0;
        return file + " could not be loaded. ABI: " + abi() + " (os.arch " + System.getProperty("os.arch") + "). "
                + failure.missing(error, file)
                + "Searched: " + (bareName ? searchedPlaces() : "that path alone") + ". "
                + String.format(failure.advice, method) + " The loader said: " + error;
    }

    private String missing(LinkageError error, String file) {
        return this == SYMBOL ? "Missing function: " + named(error) + ". "
                : this == MISSING_DEPENDENCY ? "Missing: " + named(error) + ". "
                : this == MISSING ? "Missing: " + file + ". " : "";
    }

    /** What the loader named, in one of the two groups that the pattern has. */
    private String named(LinkageError error) {
        Matcher matcher = pattern.matcher(error.toString());
        return !matcher.find() ? "" : matcher.group(1) != null ? matcher.group(1) : matcher.group(2);
    }

    private static String fileName(String path) {
        return new File(path).getName();
    }

    /** Android's name for the instruction set that this process runs. */
    static String abi() {
        String arch = String.valueOf(System.getProperty("os.arch")).toLowerCase(Locale.ROOT);
        String[][] names = {{"aarch64|arm64.*", "arm64-v8a"}, {"arm.*", "armeabi-v7a"}, {"amd64|x86[-_]64", "x86_64"},
            {"x86|i\\d86", "x86"}};
        for (String[] name : names) {
            if (arch.matches(name[0])) {
                return name[1];
            }
        }
        return arch;
    }

    /** An application's own folders are known to its class loader alone, which tells them in its text. */
    private static String searchedPlaces() {
        Matcher own = Pattern.compile("nativeLibraryDirectories=\\[([^\\]]*)\\]")
                .matcher(String.valueOf(LoadFailure.class.getClassLoader()));
        String path = System.getProperty("java.library.path", "");
        String places = path.isEmpty() ? "" : path.replace(File.pathSeparator, ", ");
        return own.find() ? own.group(1) + (places.isEmpty() ? "" : ", " + places)
                : places.isEmpty() ? "no folder, java.library.path is empty" : places;
    }
}
