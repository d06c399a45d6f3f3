import com.vorlix.quen.wb.WbkitLoader;
import java.nio.file.Paths;

/** Loads a library that is to refuse, by itself or with the loader; prints what was thrown. */
public final class LoadRefused {
    public static void main(String[] args) {
        try {
            if (args.length == 1) {
                System.load(args[0]);
            } else {
                WbkitLoader.load(Paths.get(args[0]));
            }
            System.out.println("loaded");
        } catch (LinkageError e) {
            System.out.println(args.length == 1 ? e.getClass().getName() : e.toString());
        }
    }
}
